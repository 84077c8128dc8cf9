export async function get(name, parameters = {}) {
  const query = new URLSearchParams(
    Object.entries(parameters).filter(([, value]) => value !== '' && value !== null && value !== undefined));
  const answer = await fetch(`/api/${name}?${query}`, { headers: { Accept: 'application/json' } });
  const value = await answer.json();
  if (!answer.ok) {
    throw new Error(value.error ?? `the server says ${answer.status}`);
  }
  return value;
}

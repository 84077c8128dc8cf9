// Elements are made here and nowhere else: texts from outside become text, never markup.

const svgSpace = 'http://www.w3.org/2000/svg';

function fill(element, attributes, children) {
  for (const [name, value] of Object.entries(attributes)) {
    if (name.startsWith('on')) {
      element.addEventListener(name.slice(2), value);
    } else if (value !== null && value !== undefined && value !== false) {
      element.setAttribute(name, value === true ? '' : value);
    }
  }
  element.append(...children.flat().filter((child) => child !== null && child !== undefined).map(
    (child) => (child instanceof Node ? child : document.createTextNode(String(child)))));
  return element;
}

export function el(name, attributes = {}, ...children) {
  return fill(document.createElement(name), attributes, children);
}

export function svg(name, attributes = {}, ...children) {
  return fill(document.createElementNS(svgSpace, name), attributes, children);
}

// What is shown anew. What has not changed stays the same element: a click that has begun there ends
// there, and whoever was at a link of it stays there.
export function replace(place, ...children) {
  const link = place.contains(document.activeElement) ? document.activeElement.getAttribute('href') : null;
  const wanted = children.filter((child) => child !== '');
  const stays = new Set(wanted);
  wanted.forEach((child, i) => {
    const there = place.childNodes[i];
    // One that is wanted at another place is not taken for its like.
    if (there === child || (there?.isEqualNode(child) && !stays.has(there))) {
      return;
    }
    if (there && !stays.has(there)) {
      there.replaceWith(child);
    } else {
      place.insertBefore(child, there ?? null);
    }
  });
  while (place.childNodes.length > wanted.length) {
    place.lastChild.remove();
  }
  if (link && !place.contains(document.activeElement)) {
    [...place.querySelectorAll('a')].find((one) => one.getAttribute('href') === link)?.focus({ preventScroll: true });
  }
}

// Says of each value whether it is another than the one before: what has not changed is left alone,
// and with it what someone has marked.
export function differing() {
  let before = null;
  return (value) => {
    const words = JSON.stringify(value);
    const differs = words !== before;
    before = words;
    return differs;
  };
}

// Three kinds of state, each with a mark of its own beside its colour.
const good = /^(programmed|known|ok|success|active|out)/;
const bad = /^(rejected|error|drop|refused|unknown|nobody)/;
const plain = /^(note|in$|rule|learnt|host|flood|inactive|no answer|not reported)/;

export function kindOfState(state) {
  return good.test(state) ? 'good' : bad.test(state) ? 'bad' : plain.test(state) ? '' : 'wait';
}

const marks = { good: '✓', bad: '×', wait: '…', '': '·' };

export function markOf(kind) {
  return marks[kind];
}

export function stateOf(state, sort = state) {
  const kind = kindOfState(sort);
  // What follows behind a colon or in brackets may be long.
  const [, word, rest] = /^([^:(,]*)(.*)$/s.exec(state);
  const pill = el('span', { class: `state ${kind}`, 'data-mark': marks[kind] }, word.trim());
  return rest ? el('span', {}, pill, ` ${rest.replace(/^[:,] */, '')}`) : pill;
}

// For what is read aloud when it changes: the same words are no change.
export function say(place, words) {
  if (place.textContent !== words) {
    place.textContent = words;
  }
}

export function clockOf(milliseconds) {
  const time = new Date(milliseconds);
  const two = (n) => String(n).padStart(2, '0');
  return `${two(time.getHours())}:${two(time.getMinutes())}:${two(time.getSeconds())}.` +
    String(time.getMilliseconds()).padStart(3, '0');
}

export function linkTo(view, parameters = {}) {
  const query = new URLSearchParams(
    Object.entries(parameters).filter(([, value]) => value !== '' && value !== null && value !== undefined));
  const text = query.toString();
  return `#/${view}${text ? `?${text}` : ''}`;
}

export function count(n) {
  return Number(n).toLocaleString('en');
}

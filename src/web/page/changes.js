import { clockOf, count, el, linkTo, say } from './dom.js';
import { get } from './api.js';

const kept = 300;

export function changesView(main, parameters) {
  let isHeld = false;
  let more = 0;
  let changes = [];
  let isDrawing = false;
  let typing = null;
  const log = el('ol', { class: 'log card' });
  const filter = el('input', { type: 'search', id: 'filter', autocomplete: 'off', spellcheck: 'false',
    placeholder: 'press / to search', oninput: () => {
      draw();
      clearTimeout(typing);
      typing = setTimeout(go, 200);
    } });
  const told = el('span', { role: 'status', class: 'soft' });
  const hold = el('button', { type: 'button', onclick: () => {
    isHeld = !isHeld;
    hold.textContent = isHeld ? 'Go on' : 'Hold';
    draw();
  } }, 'Hold');

  function take(given) {
    if (document.activeElement !== filter) {
      filter.value = given.get('search') ?? '';
    }
  }
  take(parameters);

  // The place can be sent to someone else.
  function go() {
    history.replaceState(null, '', linkTo('changes', { search: filter.value }));
  }

  main.append(
    el('h1', {}, 'Changes as they come'),
    el('div', { class: 'tools' }, el('div', {}, el('label', { for: 'filter' }, 'Search'), filter), hold, told),
    log);

  const lineOf = (change) => el('li', { class: change.isNew ? 'changed' : null },
    el('time', {}, clockOf(change.time)), el('span', { class: 'state', 'data-mark': change.value === null ? '−' : '+' }, change.kind),
    el('span', { class: 'what mono' }, change.path, el('span', { class: 'soft' }, `  ${change.writer}`)),
    el('span', { class: 'value mono' }, change.value === null ? 'is gone' : change.value === '{}' ? 'is there' : change.value));

  function draw() {
    if (isHeld) {
      return;
    }
    const wanted = filter.value.toLowerCase();
    const fitting = changes.filter((change) => !wanted ||
      `${change.kind} ${change.path} ${change.writer} ${change.value}`.toLowerCase().includes(wanted));
    log.replaceChildren(...fitting.slice(0, kept).map(lineOf));
    if (!fitting.length) {
      log.append(el('li', { class: 'none' }, el('span', {}, changes.length ? 'Nothing fits.' : 'Nothing has changed yet.')));
    }
    say(told, more ? `${count(more)} more came in large bundles and are not listed` : '');
    changes.forEach((change) => { change.isNew = false; });
  }

  // However fast they come, a screen shows so many pictures a second.
  function drawSoon() {
    if (!isDrawing) {
      isDrawing = true;
      requestAnimationFrame(() => { isDrawing = false; draw(); });
    }
  }

  return {
    kinds: [],
    parametersAre(given) {
      take(given);
      return true;
    },
    async read() {
      const { changes: told } = await get('changes');
      // Some may have been heard of while this was on its way.
      const last = told[0]?.number ?? 0;
      changes = [...changes.filter((change) => change.number > last), ...told].slice(0, kept);
      draw();
    },
    heard({ kinds, changes: fresh }) {
      more += Object.values(kinds).reduce((sum, n) => sum + n, 0) - fresh.length;
      // A bundle may come behind an answer that has it.
      const last = changes[0]?.number ?? 0;
      fresh = fresh.filter((change) => change.number > last);
      fresh.forEach((change) => { change.isNew = true; });
      changes = [...fresh.reverse(), ...changes].slice(0, kept);
      drawSoon();
    },
    stop() { clearTimeout(typing); },
  };
}

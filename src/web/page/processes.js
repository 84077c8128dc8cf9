import { count, el, replace, stateOf } from './dom.js';
import { get } from './api.js';

const names = { qorclient: 'The agent', qorswitch: 'The switch’s other agents' };
const labels = {
  started: 'Started', changed: 'Last said something', turns: 'Turns', longestTurn: 'Longest turn',
  queue: 'Waiting work', written: 'Rows written', sentAgain: 'Rows sent again', skipped: 'Rows skipped',
  reconnects: 'Reconnects',
};
const times = ['started', 'changed'];

function shown(name, value) {
  if (times.includes(name)) {
    return new Date(Number(value) * 1000).toLocaleString('en-GB');
  }
  if (name === 'longestTurn') {
    return `${(Number(value) * 1000).toFixed(1)} ms`;
  }
  return /^\d+$/.test(value) ? count(value) : value;
}

export function processesView(main) {
  const content = el('div');
  main.append(el('h1', {}, 'What the processes say of themselves'), content);
  return {
    kinds: ['processes'],
    async read() {
      const value = await get('processes');
      replace(content,
        el('div', { class: 'grid' }, value.processes.map((process) => el('section', { class: 'card' },
          el('h2', {}, names[process.role] ?? process.role),
          el('p', {}, stateOf(process.holder ? 'active' : 'nobody'), ' ',
            process.holder ? `lease held by ${process.holder}` : 'holds the lease'),
          el('dl', {}, Object.entries(labels).filter(([name]) => process.fields[name] !== undefined).flatMap(
            ([name, label]) => [el('dt', {}, label), el('dd', {}, shown(name, process.fields[name]))]))))),
        value.processes.length ? '' : el('p', { class: 'none card' }, 'Nothing is known of them yet.'),
        el('h2', {}, `Rows that do not fit: ${count(value.skipped_count)}`),
        value.skipped.length ? el('ul', { class: 'log card' }, value.skipped.map((row) => el('li', {},
          el('span', { class: 'what mono' }, row.path), el('span', { class: 'value' }, row.reason))),
          value.skipped_count > value.skipped.length
            ? el('li', { class: 'none' }, `and ${count(value.skipped_count - value.skipped.length)} more`) : null)
          : el('p', { class: 'soft' }, 'All rows fit.'),
        el('p', { class: 'soft small' }, `This page has found the engine again ${count(value.reconnects)} times. `,
          el('a', { href: '/metrics' }, 'Metrics')));
    },
    failed(error) { content.replaceChildren(el('p', { class: 'none card' }, error.message)); },
  };
}

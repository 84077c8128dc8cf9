import { count, el, linkTo, replace, say, stateOf } from './dom.js';
import { get } from './api.js';
import { wasRead } from './app.js';

const pageSize = 50;

// The columns of a table: member, heading, and how it is shown.
const flowLink = (path) => (path && !path.includes(',') && !path.endsWith(' (shared)')
  ? el('a', { href: linkTo('flow', { flow: path }) }, path) : path ?? '–');
const text = (value) => value ?? '–';
const mono = (value) => el('span', { class: 'mono' }, value ?? '–');
// Of a long list the server tells the first ones, and as the last element how many more there are.
const list = (value, shown = text) => {
  const all = [value ?? []].flat();
  const more = all.at(-1)?.more === undefined ? 0 : all.pop().more;
  const rest = Math.max(0, all.length - 4) + more;
  return all.length === 0 ? ['–'] : all.slice(0, 4).flatMap((one, i) => (i ? [', ', shown(one)] : [shown(one)]))
    .concat(rest ? ` and ${count(rest)} more` : []);
};
const vlan = (value) => (value === null ? stateOf('waiting') : value);

const tables = {
  flows: {
    title: 'Flows of the policy',
    kinds: ['flows', 'policy', 'agent', 'answers', 'rules'],
    states: ['initial', 'waiting', 'programmed', 'rejected', 'not reported'],
    key: (row) => `${row.fragment}/${row.flow}`,
    columns: [
      ['fragment', 'Fragment', text, 'name'],
      ['flow', 'Flow', (name, row) => el('a', { href: linkTo('flow', { flow: `${row.fragment}/${name}` }) }, name), 'name'],
      ['kind', 'Kind', text, 'short'],
      ['state', 'State', (value) => stateOf(value)],
      ['rules', 'Rules', count, 'number'],
      ['details', 'Details'],
    ],
  },
  rules: {
    title: 'Rules and the hardware’s answers',
    kinds: ['rules', 'answers', 'agent'],
    states: ['programmed', 'pending', 'in progress', 'rejected', 'no answer', 'unknown'],
    key: (row) => row.rule,
    columns: [
      ['rule', 'Rule', mono, 'name'],
      ['flow', 'Flow', flowLink, 'name'],
      ['table', 'Table', text, 'short'],
      ['priority', 'Priority', text, 'number'],
      ['hardware', 'Hardware', (value) => stateOf(value)],
      ['match', 'Match'],
      ['actions', 'Actions'],
    ],
  },
  hosts: {
    title: 'Hosts of intercept flows',
    kinds: ['hosts', 'agent', 'policy', 'ports'],
    states: ['known', 'waiting', 'rejected'],
    key: (row) => JSON.stringify([row.host, row.vlan, row.vlan === null && row.flows]),
    columns: [
      ['host', 'Host', mono, 'short'],
      ['vlan', 'VLAN', text, 'number'],
      ['interface', 'Interface'],
      ['state', 'State', (value) => stateOf(value)],
      ['moves', 'Moves', text, 'number'],
      ['flows', 'Flows', (value) => list(value, flowLink), 'name'],
    ],
  },
  ports: {
    title: 'Ports and their VLANs',
    kinds: ['ports', 'hosts', 'policy', 'agent', 'tunnels'],
    states: [],
    key: (row) => row.port,
    columns: [
      ['port', 'Port', text, 'name'],
      ['vlans', 'VLANs', (value) => value ?? 'none'],
      ['untagged', 'Untagged', (value) => (value === null ? '–' : `VLAN ${value}`), 'short'],
      ['sets', 'Service sets', (value) => list(value)],
      ['hosts', 'Hosts', count, 'number'],
    ],
  },
  learnt: {
    title: 'Hosts at ports',
    kinds: ['hosts', 'agent', 'ports'],
    states: ['intercepted', 'offered', 'learnt'],
    key: (row) => `${row.host} ${row.vlan} ${row.port}`,
    columns: [
      ['host', 'Host', mono, 'short'],
      ['vlan', 'VLAN', text, 'number'],
      ['port', 'Port', text, 'name'],
      ['how', 'Known as'],
    ],
  },
  tunnels: {
    title: 'Tunnels and their end points',
    kinds: ['tunnels'],
    states: [],
    key: (row) => `${row.tunnel} ${row.end_point}`,
    columns: [
      ['tunnel', 'Tunnel', text, 'name'],
      ['address', 'Its address', mono],
      ['end_point', 'End point', (value) => (value === null ? 'none' : mono(value))],
      ['vnis', 'VNIs'],
      ['hosts', 'Hosts', count, 'number'],
    ],
  },
  vnis: {
    title: 'VNIs and their VLANs',
    kinds: ['tunnels', 'agent'],
    states: ['waiting'],
    key: (row) => row.vni,
    columns: [
      ['vni', 'VNI', text, 'number'],
      ['vlan', 'VLAN', vlan, 'number'],
      ['requested', 'Asked for', (value) => (value ? 'yes' : 'no')],
      ['bound_by', 'Needed by', (value) => list(value)],
    ],
  },
  l3flows: {
    title: 'Flows of routed traffic',
    kinds: ['routed', 'answers', 'rules'],
    states: ['pending', 'active', 'error', 'not reported'],
    key: (row) => `${row.vrf}/${row.preference}/${row.group_priority}/${row.flow}`,
    columns: [
      ['vrf', 'VRF', text, 'name'],
      ['flow', 'Flow', (name, row) => el('a', { href: linkTo('flow', { flow: `${row.vrf}/${name}` }) }, name), 'name'],
      ['state', 'State', (value) => stateOf(value)],
      ['preference', 'Preference', text, 'number'],
      ['group_priority', 'Group priority', text, 'number'],
      ['priority', 'Priority', text, 'number'],
      ['detail', 'Detail'],
    ],
  },
  groups: {
    title: 'Groups of routed traffic',
    kinds: ['routed', 'answers', 'rules'],
    states: ['pending', 'active', 'error', 'not reported'],
    key: (row) => JSON.stringify([row.group, row.vrf, row.vni, row.ip, row.mac]),
    columns: [
      ['group', 'Group'],
      ['type_state', 'Type', (value) => stateOf(value)],
      ['vrf', 'VRF'],
      ['vni', 'VNI', text, 'number'],
      ['vlan', 'VLAN', text, 'number'],
      ['ip', 'IP address', mono],
      ['mac', 'MAC address', mono],
      ['member_state', 'Member', (value) => (value ? stateOf(value) : '–')],
      ['detail', 'Detail'],
    ],
  },
};

export const listView = (name) => (main, parameters) => {
  const table = tables[name];
  let wanted = {};
  let before = new Map();
  let typing = null;

  const search = el('input', { type: 'search', id: 'search', autocomplete: 'off', spellcheck: 'false',
    placeholder: 'press / to search', oninput: () => { clearTimeout(typing); typing = setTimeout(go, 200); } });
  const state = el('select', { id: 'state', onchange: () => go() },
    el('option', { value: '' }, 'all'), table.states.map((word) => el('option', { value: word }, word)));
  const body = el('tbody', { role: 'rowgroup' });
  const found = el('span', { role: 'status' });
  const previous = el('button', { type: 'button', onclick: () => go(wanted.page - 1) }, '‹ Previous');
  const next = el('button', { type: 'button', onclick: () => go(wanted.page + 1) }, 'Next ›');

  function take(given) {
    wanted = {
      search: given.get('search') ?? '',
      state: given.get('state') ?? '',
      page: Math.max(1, Number.parseInt(given.get('page') ?? '1', 10) || 1),
    };
    if (document.activeElement !== search) {
      search.value = wanted.search;
    }
    if (![...state.options].some((option) => option.value === wanted.state)) {
      state.append(el('option', { value: wanted.state }, wanted.state));
    }
    state.value = wanted.state;
  }

  // The place is the truth: it can be sent to someone else.
  function go(page = 1) {
    clearTimeout(typing);
    const link = linkTo(name, { search: search.value, state: state.value, page: page > 1 ? page : '' });
    if (link === location.hash) {
      return;
    }
    history.replaceState(null, '', link);
    dispatchEvent(new HashChangeEvent('hashchange'));
  }

  main.append(
    el('h1', {}, table.title),
    el('form', { class: 'tools', role: 'search', onsubmit: (event) => { event.preventDefault(); go(); } },
      el('div', {}, el('label', { for: 'search' }, 'Search'), search),
      table.states.length ? el('div', {}, el('label', { for: 'state' }, 'State'), state) : null),
    el('div', { class: 'card scroll', tabindex: '0', role: 'region', 'aria-label': table.title },
      el('table', { class: 'fold', role: 'table', 'aria-label': table.title },
        el('thead', { role: 'rowgroup' }, el('tr', { role: 'row' }, table.columns.map(([, heading, , kind]) =>
          el('th', { role: 'columnheader', scope: 'col', class: kind }, heading)))),
        body)),
    el('div', { class: 'pager' }, previous, next, found));
  take(parameters);

  function rowOf(row) {
    const key = String(table.key(row));
    const words = JSON.stringify(row);
    const known = before.get(key);
    if (known?.words === words) {
      return known;
    }
    const cells = table.columns.map(([member, heading, shown = text, kind]) =>
      el('td', { role: 'cell', 'data-label': heading, class: kind }, el('span', {}, shown(row[member], row))));
    const element = el('tr', { role: 'row' }, cells);
    if (before.size) {
      element.classList.add('changed');
    }
    return { key, words, element };
  }

  return {
    kinds: table.kinds,
    parametersAre(given) {
      take(given);
      before = new Map();
      return true;
    },
    async read() {
      const asked = { ...wanted };
      const value = await get(name, { search: asked.search, state: asked.state,
        first: (asked.page - 1) * pageSize, most: pageSize });
      const rows = value.rows.map(rowOf);
      const none = () => el('tr', { role: 'row' }, el('td', { role: 'cell', class: 'none', colspan: table.columns.length },
        value.found ? 'The list ends before this page.' : !wasRead() ? 'Nothing has been read yet.'
          : asked.search || asked.state ? 'Nothing fits.' : 'There are none.'));
      replace(body, ...(rows.length ? rows.map(({ element }) => element) : [none()]));
      before = new Map(rows.map((row) => [row.key, row]));
      const first = value.found === 0 ? 0 : value.first + 1;
      say(found, rows.length || !value.found ? `${count(first)} to ${count(value.first + rows.length)} of ${count(value.found)}`
        : `none of ${count(value.found)}`);
      previous.disabled = asked.page <= 1;
      next.disabled = value.first + rows.length >= value.found;
    },
    failed(error) { say(found, error.message); },
    stop() { clearTimeout(typing); },
  };
};

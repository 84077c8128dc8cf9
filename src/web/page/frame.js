import { differing, el, kindOfState, linkTo, stateOf } from './dom.js';
import { get } from './api.js';

// These are asked for at once, the others where they are wanted.
const usual = 4;
const fields = [
  ['in', 'Port it enters', { required: true, list: 'ports' }],
  ['from', 'From (MAC)', { required: true, placeholder: '02:00:00:00:00:0a' }],
  ['to', 'To (MAC)', { required: true, placeholder: 'ff:ff:ff:ff:ff:ff' }],
  ['vlan', 'VLAN of its tag', { inputmode: 'numeric', placeholder: 'untagged' }],
  ['vni', 'VNI, through a tunnel', { inputmode: 'numeric' }],
  ['ether_type', 'Carries', { placeholder: 'ip, ip6, arp or a number' }],
  ['ip_from', 'Sender (IP)', {}],
  ['ip_to', 'Receiver (IP)', {}],
  ['protocol', 'IP protocol', { inputmode: 'numeric', placeholder: '6 is TCP, 17 UDP' }],
  ['from_port', 'Sender’s port', { inputmode: 'numeric' }],
  ['to_port', 'Receiver’s port', { inputmode: 'numeric' }],
];

const words = (exit) => (exit.port !== undefined
  ? `${exit.port}, ${exit.vlan === null ? 'untagged' : `tagged ${exit.vlan}`}`
  : exit.vtep !== undefined ? `VNI ${exit.vni} to ${exit.vtep}` : `next hop ${exit.next_hop}`);

// A refusal names fields as the interface does, and as the command line.
const labelOf = (name, otherwise) => fields.find(([field]) => field === name)?.[1] ?? otherwise;
const inWordsOfThePage = (message) => message.replace(/^[a-z_]+(?=: )/, (name) => labelOf(name, name))
  .replace(/--([a-z_]+)/g, (all, name) => `“${labelOf(name, all)}”`);

export function frameView(main, parameters) {
  let wanted = parameters;
  const isNew = differing();
  const ports = el('datalist', { id: 'ports' });
  const inputs = fields.map(([name, label, attributes]) => [name, label,
    el('input', { id: `frame-${name}`, name, autocomplete: 'off', spellcheck: 'false', ...attributes })]);
  const fieldOf = ([name, label, input]) => el('div', {}, el('label', { for: `frame-${name}` }, label), input);
  const more = el('details', {}, el('summary', {}, 'What it carries, and frames of a tunnel'),
    el('div', { class: 'form' }, inputs.slice(usual).map(fieldOf)));
  const result = el('div', { 'aria-live': 'polite' });
  const fill = () => {
    inputs.forEach(([name, , input]) => { input.value = wanted.get(name) ?? ''; });
    more.open = more.open || inputs.slice(usual).some(([, , input]) => input.value);
  };
  fill();

  main.append(
    el('h1', {}, 'The way of a frame'),
    el('p', { class: 'soft' }, 'Followed through rules, hosts and VLANs as they stand; it is not sent.'),
    el('form', { class: 'card form', onsubmit: (event) => {
      event.preventDefault();
      const link = linkTo('frame', Object.fromEntries(inputs.map(([name, , input]) => [name, input.value.trim()])));
      if (link !== location.hash) {
        location.hash = link;
      }
    } }, inputs.slice(0, usual).map(fieldOf), el('button', { class: 'main', type: 'submit' }, 'Follow it'), more, ports),
    result);

  return {
    parametersAre(given) {
      wanted = given;
      fill();
      return true;
    },
    async read() {
      if (!ports.children.length) {
        const { ports: known, tunnels } = await get('picture');
        ports.replaceChildren(...[...known, ...tunnels].map(({ name }) => el('option', { value: name })));
      }
      if (!wanted.get('in')) {
        isNew(null);
        result.replaceChildren();
        return;
      }
      const way = await get('frame', Object.fromEntries(wanted));
      if (!isNew(way)) {
        return;
      }
      result.replaceChildren(
        el('h2', {}, 'Where it leaves'),
        el('ul', { class: 'exits' }, way.exits.length ? way.exits.map((exit) => el('li', {}, words(exit)))
          : el('li', { class: 'drop' }, way.drop ?? 'nowhere')),
        el('h2', {}, 'What decided'),
        el('ol', { class: 'chain steps card' }, way.steps.map((step) => el('li', { class: kindOfState(step.kind) },
          stateOf(step.kind), el('span', { class: 'words' }, step.text),
          step.path ? el('span', { class: 'path mono' }, step.path) : null))));
    },
    failed(error) {
      if (!isNew(error.message)) {
        return;
      }
      result.replaceChildren(el('p', { class: 'summary card bad', role: 'alert' }, stateOf('refused'), ' ', inWordsOfThePage(error.message)));
    },
  };
}

import { count, differing, el, kindOfState, linkTo, markOf, replace, stateOf, svg } from './dom.js';
import { get } from './api.js';
import { switchNameIs } from './app.js';
import { sortedWays, waysPanel } from './ways.js';

const cut = (words, most) => (words.length > most ? `${words.slice(0, Math.max(1, most - 1))}…` : words);

const mostEnds = 6;

// A port: its name, its VLANs, the hosts that are there.
function portCard(port, x, y, width) {
  const room = Math.floor((width - 20) / 6.7);
  const hosts = port.hosts.map((host, i) => svg('text', { x: 12, y: 66 + i * 16, class: 't-mono' },
    cut(`${host.how === 'intercepted' ? '◆' : host.how === 'offered' ? '◇' : '·'} ${host.mac} ${host.vlan}`, room)));
  const rest = port.host_count - port.hosts.length;
  if (rest > 0) {
    hosts.push(svg('text', { x: 12, y: 66 + port.hosts.length * 16, class: 't-soft' }, `and ${count(rest)} more`));
  }
  const height = heightOf(port);
  const role = port.peer_link ? ' · peer link' : port.sets.length ? ` · ${port.sets[0]}${port.set_count > 1 ? ` +${port.set_count - 1}` : ''}` : '';
  return svg('g', { transform: `translate(${x} ${y})` },
    svg('title', {}, `${port.name}: ${port.vlans ? `VLAN ${port.vlans}` : 'no VLAN'}${port.sets.length ? `; ${port.sets.join(', ')}` : ''}`),
    svg('rect', { class: `port${port.sets.length ? ' in-set' : ''}`, width, height, rx: 9 }),
    svg('path', { class: 'socket', d: `M${width - 26} 12h14v10h-3v3h-8v-3h-3z` }),
    svg('text', { x: 12, y: 20, class: 't-title' }, cut(port.name, room - 4)),
    svg('text', { x: 12, y: 35, class: 't-soft' }, cut(`${port.vlans ? `VLAN ${port.vlans}` : 'no VLAN'}${role}`, room)),
    svg('text', { x: 12, y: 50, class: 't-soft' }, port.native ? `untagged is VLAN ${port.native}` : ''),
    hosts);
}

function heightOf(port) {
  const lines = port.hosts.length + (port.host_count > port.hosts.length ? 1 : 0);
  return (port.native ? 58 : 44) + (lines ? 16 * lines + (port.native ? 2 : 16) : 0);
}

function tunnelCard(tunnel, x, y, width) {
  const room = Math.floor((width - 20) / 6.7);
  const ends = tunnel.ends.slice(0, mostEnds);
  const rest = tunnel.end_count - ends.length;
  return svg('g', { transform: `translate(${x} ${y})` },
    svg('rect', { class: 'tunnel', width, height: tunnelHeight(tunnel), rx: 9 }),
    svg('text', { x: 12, y: 20, class: 't-title' }, cut(`${tunnel.name}, a tunnel`, room)),
    svg('text', { x: 12, y: 35, class: 't-soft' }, cut(`${tunnel.address ?? 'no address'}`, room)),
    svg('text', { x: 12, y: 50, class: 't-soft' }, cut(tunnel.vnis ? `VNI ${tunnel.vnis}` : 'no VNI', room)),
    ends.map((end, i) => svg('text', { x: 12, y: 66 + i * 16, class: 't-mono' },
      cut(`⇢ ${end.address}  ${count(end.hosts)} host${end.hosts === 1 ? '' : 's'}`, room))),
    rest ? svg('text', { x: 12, y: 66 + ends.length * 16, class: 't-soft' }, `and ${count(rest)} more`) : null);
}

function tunnelHeight(tunnel) {
  const lines = Math.min(mostEnds, tunnel.ends.length) + (tunnel.end_count > mostEnds ? 1 : 0);
  return 58 + (lines ? 16 * lines + 2 : 0);
}

// Cards in rows, as many beside each other as there is room for.
function rowsOf(cards, width, gap) {
  const columns = Math.max(1, Math.floor((width + gap) / (190 + gap)));
  const cardWidth = (width - gap * (columns - 1)) / columns;
  const placed = [];
  let y = 0;
  for (let i = 0; i < cards.length; i += columns) {
    const row = cards.slice(i, i + columns);
    row.forEach((card, column) => placed.push({ card, x: column * (cardWidth + gap), y, width: cardWidth }));
    y += Math.max(...row.map((card) => card.height)) + gap;
  }
  return { placed, height: Math.max(0, y - gap) };
}

export function drawSwitch(picture, width) {
  const margin = 12;
  const cards = [
    ...picture.ports.map((port) => ({ height: heightOf(port), draw: (x, y, w) => portCard(port, x, y, w) })),
    ...picture.tunnels.map((tunnel) => ({ height: tunnelHeight(tunnel), draw: (x, y, w) => tunnelCard(tunnel, x, y, w) })),
  ];
  const { placed, height } = rowsOf(cards, width - 2 * margin, 10);
  const group = svg('g', {},
    svg('rect', { class: 'panel', x: .5, y: .5, width: width - 1, height: height + 46, rx: 12 }),
    svg('text', { x: margin, y: 23, class: 't-title' }, `Switch ${picture.switch}`),
    svg('text', { x: width - margin, y: 23, class: 't-soft', 'text-anchor': 'end' }, width > 560 ? '◆ intercepted  ◇ offered  · learnt' : '◆ ◇ · hosts'),
    placed.map(({ card, x, y, width: w }) => card.draw(x + margin, y + 34, w)));
  return { group, height: height + 47 };
}

function tile(words, number, link, kind) {
  const content = [el('b', {}, count(number)),
    kind === undefined ? el('span', {}, words) : el('span', {}, el('span', { 'aria-hidden': 'true' }, `${markOf(kind)} `), words)];
  return el('li', {}, link ? el('a', { href: link }, content) : el('div', {}, content));
}

function tilesOf({ flows, routed_flows: routed, rules, refused, refused_by_reason: reasons,
  hosts_known: known, hosts_waiting: waiting, vnis_waiting: vnis }) {
  const order = ['programmed', 'waiting', 'initial', 'rejected'];
  const rank = (state) => (order.includes(state) ? order.indexOf(state) : order.length);
  const ofRules = !refused || Object.keys(reasons).some((reason) => !/^(group|end point) /.test(reason));
  const states = Object.entries(flows).sort(([a], [b]) => rank(a) - rank(b));
  return [
    ...(states.length ? states : [['programmed', 0]]).map(([state, n]) =>
      tile(`flows ${state}`, n, linkTo('flows', { state }), kindOfState(state))),
    ...(routed ? [tile('routed flows', routed, linkTo('l3flows'))] : []),
    tile('rules', rules, linkTo('rules')),
    tile('refused by the hardware', refused, ofRules ? linkTo('rules', { state: 'rejected' }) : linkTo('groups', { state: 'error' }),
      refused ? 'bad' : 'good'),
    tile('hosts known', known, linkTo('hosts', { state: 'known' })),
    ...(waiting ? [tile('hosts waiting', waiting, linkTo('hosts', { state: 'waiting' }), 'wait')] : []),
    tile('VNIs without VLAN', vnis, linkTo('vnis', { state: vnis ? 'waiting' : '' }), vnis ? 'wait' : 'good'),
  ];
}

export function wordsOfWay(way, fragment) {
  const segment = (vni) => (vni === null ? 'no VNI' : `VNI ${vni}`);
  const at = way.set === null ? (way.ports.length ? way.ports.join(', ') : 'no port yet')
    : `${way.set} (${(fragment.sets.find((set) => set.name === way.set)?.ports ?? []).join(', ') || 'no port'})`;
  return way.point === 'in'
    ? `What enters at ${at} in ${segment(way.from)} goes on in ${segment(way.to)}`
    : `What leaves at ${at} from ${segment(way.from)} leaves in ${segment(way.to)}`;
}

function waysList(fragment) {
  return el('ol', { class: 'ways', 'aria-label': `Ways through ${fragment.name}` }, sortedWays(fragment).map((way, i) => el('li', {},
    el('span', { class: 'n' }, i + 1),
    el('span', {}, wordsOfWay(way, fragment)),
    Object.entries(way.states).map(([state, n]) => stateOf(n > 1 ? `${count(n)} ${state}` : state, state)),
    el('span', { class: 'small' }, way.flows.flatMap((flow, k) => [k ? ', ' : '',
      el('a', { href: linkTo('flow', { flow: `${fragment.name}/${flow}` }) }, flow)]),
    way.count > way.flows.length ? ` and ${count(way.count - way.flows.length)} more` : ''))));
}

function listOf(view, words = view) {
  return el('span', {}, 'the ', el('a', { href: linkTo(view) }, `list of ${words}`), ' has all. ');
}

export function pictureView(main, parameters) {
  let first = Number.parseInt(parameters.get('first') ?? '0', 10) || 0;
  let last = null;
  const isNew = differing();
  const tiles = el('ul', { class: 'tiles', 'aria-label': 'In numbers' });
  const drawing = el('div', { class: 'card picture' });
  const lists = el('div');
  const pager = el('div', { class: 'pager' });
  const note = el('p', { class: 'soft small' });
  main.append(el('h1', {}, 'The switch as it stands'), tiles, drawing, note, pager, lists);

  function draw() {
    if (!last) {
      return;
    }
    const width = Math.max(300, drawing.clientWidth - 16);
    const panels = [drawSwitch(last, width), ...last.fragments.map((fragment) => waysPanel(fragment, width))];
    let y = 0;
    const groups = panels.map(({ group, height }) => {
      const placed = svg('g', { transform: `translate(0 ${y})` }, group);
      y += height + 12;
      return placed;
    });
    const height = Math.max(1, y - 12);
    drawing.replaceChildren(svg('svg', { viewBox: `0 0 ${width} ${height}`, width, height, role: 'img',
      'aria-label': `Switch ${last.switch}: ${last.port_count} ports, ${last.tunnels.length} tunnels, ` +
        `${last.fragment_count} services. The ways through the services are listed below, ports, hosts and tunnels in lists of their own.` }, groups));
  }
  const watcher = new ResizeObserver(() => draw());
  watcher.observe(drawing);

  return {
    kinds: ['flows', 'policy', 'agent', 'rules', 'answers', 'ports', 'tunnels', 'hosts', 'service', 'routed', 'switch'],
    parametersAre(given) {
      first = Number.parseInt(given.get('first') ?? '0', 10) || 0;
      return true;
    },
    async read() {
      const value = await get('picture', { first });
      switchNameIs(value.switch);
      if (!isNew(value)) {
        return;
      }
      last = value;
      const isRead = value.situation.read;
      replace(tiles, ...(isRead ? tilesOf(value.counts) : []));
      draw();
      const words = [];
      if (isRead && !value.counts.active) {
        words.push('The agent is not active: nobody acts on the policy. ');
      }
      if (value.port_count > value.ports.length) {
        words.push(`${count(value.port_count - value.ports.length)} ports more are not drawn; `, listOf('ports'));
      }
      if (isRead && !value.fragment_count) {
        words.push('There is no policy. ');
      }
      const hosts = value.ports.reduce((sum, port) => sum + port.host_count - port.hosts.length, 0);
      if (hosts) {
        words.push(`${count(hosts)} hosts more are at these ports; `, listOf('learnt', 'hosts at ports'));
      }
      const ends = value.tunnels.reduce((sum, tunnel) => sum + Math.max(0, tunnel.end_count - mostEnds), 0);
      if (ends) {
        words.push(`${count(ends)} end points more are behind tunnels; `, listOf('tunnels'));
      }
      replace(note, el('span', {}, words));
      const step = Math.max(1, value.fragments.length);
      replace(pager, ...(value.fragment_count > value.fragments.length ? [
        el('a', { href: linkTo('', { first: Math.max(0, first - 4) || '' }) }, '‹ Previous'),
        el('a', { href: linkTo('', { first: first + step < value.fragment_count ? first + step : first }) }, 'Next ›'),
        el('span', {}, `Services ${first + 1} to ${first + value.fragments.length} of ${count(value.fragment_count)}`)] : []));
      replace(lists, ...value.fragments.flatMap((fragment) => [
        el('h2', {}, `Ways through ${fragment.name}`),
        fragment.way_count > fragment.ways.length ? el('p', { class: 'soft' },
          `${count(fragment.way_count - fragment.ways.length)} ways more are not drawn; on those here not all is well, or they come first. `,
          el('a', { href: linkTo('flows', { search: fragment.name }) }, 'All its flows')) : null,
        fragment.ways.length ? waysList(fragment) : el('p', { class: 'soft' }, 'It has no flows.')].filter(Boolean)));
    },
    failed(error) {
      isNew(null);
      note.textContent = error.message;
    },
    stop() { watcher.disconnect(); },
  };
}

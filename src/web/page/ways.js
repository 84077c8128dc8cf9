import { kindOfState, markOf, svg } from './dom.js';

// The ways through one service: above the ports at which hosts are intercepted, in the middle the
// segments, below the service with its two sets of interfaces.

const cut = (words, most) => (words.length > most ? `${words.slice(0, Math.max(1, most - 1))}…` : words);

/** First what is intercepted and goes back, then the two sets. */
export function sortedWays(fragment) {
  const rank = (way) => ({ near: 2, far: 4 }[way.set] ?? (way.set === null ? 0 : 6)) + (way.point === 'in' ? 0 : 1);
  return [...fragment.ways].sort((a, b) => rank(a) - rank(b));
}

/** What is told of several flows on one way is the worst of them. */
function kindOfWay(way) {
  const kinds = Object.keys(way.states).map((state) => kindOfState(state) || 'wait');
  return kinds.includes('bad') ? 'bad' : kinds.includes('wait') ? 'wait' : 'good';
}

function arrow(x, from, to, kind, number, badgeY) {
  const down = to > from;
  const tip = down ? to - 9 : to + 9;
  return svg('g', {},
    svg('circle', { class: `dot ${kind}`, cx: x, cy: from, r: 4 }),
    svg('path', { class: `way ${kind}`, d: `M${x} ${from}V${tip}` }),
    svg('path', { class: `head ${kind}`, d: `M${x} ${to}l-5.5 ${down ? -10 : 10}h11z` }),
    svg('rect', { class: `badge ${kind}`, x: x - 15, y: badgeY - 10, width: 30, height: 20, rx: 10 }),
    svg('text', { class: 't-badge', x, y: badgeY + 4 }, `${number} ${markOf(kind)}`));
}

function box(x, y, width, height, title, lines, look) {
  const room = Math.floor((width - 16) / 6.6);
  return svg('g', { transform: `translate(${x} ${y})` },
    svg('rect', { class: look, width, height, rx: 9 }),
    svg('text', { x: 10, y: 19, class: 't-title' }, cut(title, room - 1)),
    lines.map((line, i) => svg('text', { x: 10, y: 35 + 15 * i, class: 't-soft' }, cut(line, room))));
}

/** As many as there is room for; the service's two are shown where they are not there, too. */
function setsOf(fragment, inner) {
  const known = new Map(fragment.sets.map((set) => [set.name, set]));
  const named = [...known.keys(), ...fragment.ways.map((way) => way.set).filter((set) => set !== null)];
  const usual = named.every((name) => ['near', 'far'].includes(name)) ? ['near', 'far'] : [];
  const rank = (name) => ({ near: 0, far: 1 }[name] ?? 2);
  return [...new Set([...usual, ...named])].sort((a, b) => rank(a) - rank(b)).slice(0, Math.max(2, Math.floor(inner / 130)))
    .map((name) => known.get(name) ?? { name, ports: [], port_count: 0 });
}

export function waysPanel(fragment, width) {
  const margin = 12;
  const inner = width - 2 * margin;
  const numbered = sortedWays(fragment).map((way, i) => ({ ...way, number: i + 1, kind: kindOfWay(way) }));
  const above = numbered.filter((way) => way.set === null);
  const sets = setsOf(fragment, inner);

  // The segments: the service's two, and whatever else a flow names.
  const { segments } = fragment;
  const vnis = segments.map((segment) => segment.vni);
  const laneHeight = 34;
  const topHeight = above.length ? 60 : 0;
  const lanesTop = 40 + topHeight + (above.length ? 56 : 0);
  const laneY = (vni) => lanesTop + Math.max(0, vnis.indexOf(vni)) * (laneHeight + 10);
  const lanesEnd = lanesTop + vnis.length * (laneHeight + 10) - 10;
  const setsTop = lanesEnd + 60;
  const setHeight = 62;

  const lanes = segments.map(({ vni, vlan, tunnel }, i) => {
    const name = i === 0 ? 'service' : i === 1 ? 'original' : 'other';
    const words = `${vni === null ? 'no VNI' : `VNI ${vni}`} · ${vlan === null ? '… no VLAN yet' : `VLAN ${vlan}`}`;
    const side = i === 0 ? 'a' : 'b';
    const at = `translate(${margin} ${laneY(vni)})`;
    return {
      bar: svg('rect', { transform: at, class: `lane-${side}`, width: inner, height: laneHeight, rx: 7 }),
      words: svg('g', { transform: at },
        svg('text', { x: 10, y: 22, class: `lane-words ${side}` }, cut(inner < 420 ? words : `${name} segment · ${words}`, Math.floor(inner / 7))),
        tunnel && inner > 520 ? svg('text', { x: inner - 10, y: 22, class: `t-soft lane-words ${side}`, 'text-anchor': 'end' }, `⇢ ${tunnel}`) : null),
    };
  });

  // Interception: each way at its own place above.
  const step = above.length ? inner / above.length : 0;
  const shownAbove = above.map((way, i) => {
    const boxWidth = Math.min(170, step - 8);
    const x = margin + i * step + (step - boxWidth) / 2;
    const names = way.ports.length ? way.ports : ['no port yet'];
    const lane = laneY(way.point === 'in' ? way.to : way.from);
    const portEdge = 40 + topHeight - 8;
    const middle = x + boxWidth / 2;
    return svg('g', {},
      box(x, 40, boxWidth, topHeight - 8, names.length > 1 ? `${names.length} ports` : names[0],
        [names.length > 1 ? names.join(', ') : way.point === 'in' ? 'hosts are intercepted' : 'back to hosts'],
        `port${way.ports.length ? '' : ' none'}`),
      arrow(middle, way.point === 'in' ? portEdge : lane + 6, way.point === 'in' ? lane + 6 : portEdge, way.kind, way.number, portEdge + 26));
  });

  // The service and its sets: between two, or under several.
  const isBetween = sets.length <= 2;
  const gapOfSets = 10;
  const setWidth = isBetween ? Math.min(380, inner * .37) : (inner - gapOfSets * (sets.length - 1)) / sets.length;
  const xOfSet = (i) => (!isBetween ? margin + i * (setWidth + gapOfSets) : i === 0 ? margin : margin + inner - setWidth);
  const below = sets.map((set, i) => {
    const x = xOfSet(i);
    const ways = numbered.filter((way) => way.set === set.name);
    const gap = setWidth / (ways.length + 1);
    const ports = set.ports.join(', ') + (set.port_count > set.ports.length ? ` and ${set.port_count - set.ports.length} more` : '');
    return svg('g', {},
      box(x, setsTop, setWidth, setHeight, set.name, [ports || 'no port',
        `${ways.length} ${ways.length === 1 ? 'way' : 'ways'}`], `port${set.ports.length ? ' in-set' : ' none'}`),
      ways.map((way, k) => {
        const at = x + gap * (k + 1);
        const lane = laneY(way.point === 'in' ? way.to : way.from) + laneHeight - 6;
        return arrow(at, way.point === 'in' ? setsTop : lane, way.point === 'in' ? lane : setsTop, way.kind, way.number, lanesEnd + 30);
      }));
  });
  const deviceWidth = isBetween ? Math.min(150, inner * .2) : inner;
  const deviceX = margin + (inner - deviceWidth) / 2;
  const deviceY = isBetween ? setsTop + 6 : setsTop + setHeight + 14;
  const deviceHeight = isBetween ? setHeight - 12 : 34;
  const middle = deviceY + deviceHeight / 2;
  const wires = sets.map((set, i) => (!isBetween ? `M${xOfSet(i) + setWidth / 2} ${setsTop + setHeight}V${deviceY}`
    : i === 0 ? `M${margin + setWidth} ${middle}H${deviceX}` : `M${deviceX + deviceWidth} ${middle}H${xOfSet(i)}`));
  const device = [
    svg('path', { class: 'wire', d: wires.join('') }),
    svg('rect', { class: 'device', x: deviceX, y: deviceY, width: deviceWidth, height: deviceHeight, rx: 12 }),
    svg('text', { x: deviceX + deviceWidth / 2, y: middle + 4, class: 't-title', 'text-anchor': 'middle' },
      deviceWidth > 90 ? 'the service' : 'service')];

  const height = Math.max(setsTop + setHeight, deviceY + deviceHeight) + 14;
  return {
    height,
    group: svg('g', {},
      svg('rect', { class: 'panel', x: .5, y: .5, width: width - 1, height: height - 1, rx: 12 }),
      svg('text', { x: margin, y: 24, class: 't-title' }, cut(fragment.name, Math.floor(inner / 9))),
      svg('text', { x: width - margin, y: 24, class: 't-soft', 'text-anchor': 'end' },
        width > 560 ? '— ✓ programmed   – – … waiting   ··· × rejected' : ''),
      lanes.map(({ bar }) => bar), shownAbove, device, below, lanes.map(({ words }) => words)),
  };
}

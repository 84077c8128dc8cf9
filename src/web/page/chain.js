import { count, differing, el, kindOfState, linkTo, replace, stateOf } from './dom.js';
import { get } from './api.js';
import { titleIs } from './app.js';

export function chainView(main, parameters) {
  const flow = parameters.get('flow') ?? '';
  titleIs(flow);
  const content = el('div');
  const isNew = differing();
  main.append(el('p', { class: 'small' }, el('a', { href: linkTo('flows') }, '‹ All flows')), content);

  function chainOf(chain) {
    const kind = kindOfState(chain.summary.startsWith('programmed, but') ? 'waiting' : chain.summary);
    const place = chain.fragment ?? chain.vrf;
    const order = chain.vrf === undefined ? '' :
      `, preference ${chain.preference}, group priority ${chain.group_priority}`;
    return el('section', {},
      el('h1', {}, chain.name),
      el('p', { class: 'soft' }, `${chain.kind} of ${chain.vrf === undefined ? 'fragment' : 'VRF'} ${place}${order} · `,
        el('a', { href: linkTo('rules', { search: `${place}/${chain.name}` }) }, 'its rules')),
      el('p', { class: `summary card ${kind}`, role: 'status' }, stateOf(chain.summary.split(/[:,]/)[0]), ' ',
        chain.summary.replace(/^[a-z]+(: |, |$)/, ''), chain.path ? el('span', { class: 'soft mono' }, ` ${chain.path}`) : null),
      el('ol', { class: 'chain card' }, chain.links.map((link) => el('li', {},
        stateOf(link.finding), el('span', { class: 'what' }, link.link),
        el('span', { class: 'words' }, link.words),
        link.path ? el('span', { class: 'path mono' }, link.path) : null))));
  }

  return {
    async read() {
      const value = await get('chain', { flow });
      if (!isNew(value)) {
        return;
      }
      const { chains, found } = value;
      replace(content, ...chains.map(chainOf), found > chains.length
        ? el('p', { class: 'none' }, `${count(found - chains.length)} more flows have that name; their fragments tell them apart.`) : '');
    },
    failed(error) {
      isNew(null);
      content.replaceChildren(el('h1', {}, flow), el('p', { class: 'none card' }, error.message));
    },
  };
}

import { el, linkTo } from './dom.js';
import { listView } from './lists.js';
import { pictureView } from './picture.js';
import { chainView } from './chain.js';
import { frameView } from './frame.js';
import { changesView } from './changes.js';
import { processesView } from './processes.js';

const views = {
  '': { title: 'Switch', show: pictureView },
  flows: { title: 'Flows', show: listView('flows') },
  rules: { title: 'Rules', show: listView('rules') },
  hosts: { title: 'Hosts', show: listView('hosts') },
  ports: { title: 'Ports', show: listView('ports') },
  learnt: { title: 'Learnt', show: listView('learnt') },
  tunnels: { title: 'Tunnels', show: listView('tunnels') },
  vnis: { title: 'VNIs', show: listView('vnis') },
  l3flows: { title: 'Routed', show: listView('l3flows') },
  groups: { title: 'Groups', show: listView('groups') },
  frame: { title: 'Frame', show: frameView },
  changes: { title: 'Changes', show: changesView },
  processes: { title: 'Processes', show: processesView },
  flow: { show: chainView },
};

const main = document.getElementById('main');
const situation = document.getElementById('situation');
const banner = document.getElementById('banner');
const nav = document.getElementById('nav');

let current = null;
let switchName = '';
let title = '';

for (const [name, { title }] of Object.entries(views)) {
  if (title) {
    nav.append(el('a', { href: linkTo(name), 'data-view': name }, title));
  }
}

function place() {
  const [name, query] = location.hash.replace(/^#\/?/, '').split('?');
  return { name: Object.hasOwn(views, name) ? name : '', parameters: new URLSearchParams(query ?? '') };
}

const shortestRest = 30;

// What is shown is read again when something of it has changed; a server that takes long for it is
// asked less often.
class Shown {
  constructor(view) {
    this.view = view;
    this.isReading = false;
    this.isWanted = false;
    this.rest = shortestRest;
    this.timer = null;
  }

  async read() {
    if (this.isReading) {
      this.isWanted = true;
      return;
    }
    clearTimeout(this.timer);
    this.timer = null;
    this.isReading = true;
    this.isWanted = false;
    const began = performance.now();
    try {
      await this.view.read();
    } catch (error) {
      this.view.failed?.(error);
    }
    this.isReading = false;
    this.ended = performance.now();
    this.rest = Math.max(shortestRest, this.ended - began);
    if (this.isWanted) {
      this.later();
    }
  }

  later() {
    if (document.hidden) {
      return;
    }
    if (this.isReading) {
      this.isWanted = true;
    } else if (this.timer === null) {
      const wait = Math.max(0, (this.ended ?? 0) + this.rest - performance.now());
      this.timer = setTimeout(() => { this.timer = null; this.read(); }, wait);
    }
  }

  concerns(kinds) {
    return !this.view.kinds || kinds.some((kind) => this.view.kinds.includes(kind));
  }

  stop() {
    clearTimeout(this.timer);
    this.view.stop?.();
  }
}

export function titleIs(text) {
  title = text;
  document.title = `${text} · ${switchName || 'switch'}`;
}

export function switchNameIs(name) {
  if (name !== switchName) {
    switchName = name;
    document.getElementById('switch').textContent = name;
    titleIs(title);
  }
}

function show() {
  const { name, parameters } = place();
  const marked = name === 'flow' ? 'flows' : name;
  for (const link of nav.children) {
    if (link.dataset.view === marked) {
      link.setAttribute('aria-current', 'page');
      link.scrollIntoView({ block: 'nearest', inline: 'nearest' });
    } else {
      link.removeAttribute('aria-current');
    }
  }
  // A search that goes on stays where it is.
  if (current?.name === name && current.shown.view.parametersAre?.(parameters)) {
    current.shown.read();
    return;
  }
  const isFirst = current === null;
  current?.shown.stop();
  main.replaceChildren();
  titleIs(views[name].title ?? 'Flow');
  current = { name, shown: new Shown(views[name].show(main, parameters)) };
  current.shown.read();
  if (!isFirst) {
    main.focus({ preventScroll: true });
    scrollTo(0, 0);
  }
}

// Until it is told otherwise.
let isRead = true;

export function wasRead() {
  return isRead;
}

function situationIs(there, words) {
  situation.className = `situation ${there ? 'there' : 'lost'}`;
  situation.textContent = there ? 'live' : 'not live';
  banner.hidden = there;
  banner.textContent = there ? '' : `${words}. ${isRead ? 'What is shown is how it stood last.' : 'It has not been read yet.'}`;
}

const again = 2000;
// The server lets each page hear of it four times a minute.
const longestSilence = 40000;
let events = null;
let silence = null;

function lost() {
  situationIs(false, 'The page’s own server does not answer; it is tried again');
}

function hush() {
  clearTimeout(silence);
  events?.close();
  events = null;
}

function heard() {
  clearTimeout(silence);
  silence = setTimeout(() => { lost(); listen(); }, longestSilence);
}

function listen() {
  hush();
  const stream = new EventSource('/events');
  events = stream;
  let isOpen = false;
  heard();
  for (const name of ['open', 'beat', 'situation', 'changes', 'processes']) {
    stream.addEventListener(name, heard);
  }
  stream.addEventListener('open', () => {
    if (isOpen) {
      return;
    }
    isOpen = true;
    // What came meanwhile is not told.
    current?.shown.later();
  });
  stream.addEventListener('error', () => {
    isOpen = false;
    lost();
    // An answer that is no stream, as of a server that has no room, is the browser's last try.
    if (stream.readyState === EventSource.CLOSED) {
      setTimeout(() => { if (events === stream) listen(); }, again);
    }
  });
  stream.addEventListener('situation', ({ data }) => {
    const { switch: name, there, words, read } = JSON.parse(data);
    isRead = read;
    switchNameIs(name);
    situationIs(there, words ? `The state is not followed: ${words}` : 'The state is not followed');
    current?.shown.later();
  });
  stream.addEventListener('changes', ({ data }) => {
    const bundle = JSON.parse(data);
    current?.shown.view.heard?.(bundle);
    if (current?.shown.concerns(Object.keys(bundle.kinds))) {
      current.shown.later();
    }
  });
  stream.addEventListener('processes', () => {
    if (current?.shown.view.kinds?.includes('processes')) {
      current.shown.later();
    }
  });
  // The situation may be among it; a stream begins with that.
  stream.addEventListener('missed', listen);
}

// Nothing is read for a page that nobody sees, and it does not listen: a browser has six connections
// to a server, which the others need.
document.addEventListener('visibilitychange', () => {
  if (document.hidden) {
    hush();
  } else if (events === null) {
    listen();
  } else {
    current?.shown.later();
  }
});
document.getElementById('skip').addEventListener('click', (event) => {
  event.preventDefault();
  main.focus();
});
document.addEventListener('keydown', (event) => {
  const isTyping = /^(INPUT|SELECT|TEXTAREA)$/.test(document.activeElement?.tagName ?? '');
  if (event.key === '/' && !isTyping && !event.ctrlKey && !event.metaKey && !event.altKey) {
    const search = main.querySelector('input[type="search"]');
    if (search) {
      event.preventDefault();
      search.focus();
      search.select();
    }
  }
});
addEventListener('hashchange', show);
show();
if (!document.hidden) {
  listen();
}

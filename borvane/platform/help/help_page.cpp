#include "borvane/platform/help/help_page.h"

namespace borvane::platform {

namespace {

constexpr std::string_view kStyle = R"css(
html, body { margin: 0; height: 100%; font: 14px sans-serif; }
body { display: flex; }
#side { width: 22em; min-width: 12em; display: flex; flex-direction: column;
        border-right: 1px solid #bbb; background: #f6f6f6; resize: horizontal; overflow: hidden; }
#tabs { display: flex; border-bottom: 1px solid #bbb; }
#tabs button { flex: 1; padding: .5em; border: 0; background: none; cursor: pointer; }
#tabs button[aria-selected="true"] { background: #fff; font-weight: bold; }
.pane { flex: 1; overflow: auto; padding: .4em; display: none; }
.pane.shown { display: block; }
.pane input { width: 100%; box-sizing: border-box; padding: .3em; }
ul { list-style: none; margin: 0; padding-left: 1.1em; }
#toc > ul, #keywords, #results { padding-left: 0; }
li > a, summary > a { color: #124; text-decoration: none; cursor: pointer; }
li > a:hover, summary > a:hover { text-decoration: underline; }
a.current { background: #cde; }
#keywords li.d1 { padding-left: 1.2em; } #keywords li.d2 { padding-left: 2.4em; }
#keywords li.d3 { padding-left: 3.6em; }
.note { color: #666; font-style: italic; }
#topic { flex: 1; border: 0; height: 100%; }
#closed { position: fixed; inset: 0; background: rgba(255,255,255,.9); display: flex;
          align-items: center; justify-content: center; font-size: 120%; }
#closed[hidden] { display: none; }
)css";

constexpr std::string_view kScript = R"js('use strict';
// The window's address: /<token>/w/<window>/<topic path>#<anchor>.
const where = location.pathname.match(/^\/([0-9a-f]+)\/w\/(\d+)\/(.*)$/);
const base = '/' + where[1] + '/';
const win = where[2];
const $ = (id) => document.getElementById(id);
const frame = $('topic');
let file = null;
let seq = 0;
let current = '';
let tocLinks = new Map();
let index = null;

function split(topic) {
  const hash = topic.indexOf('#');
  return hash < 0 ? [topic, ''] : [topic.slice(0, hash), topic.slice(hash)];
}
function encodePath(path) {
  return path.split('/').map(encodeURIComponent).join('/');
}
function show(topic) {
  if (!topic || !file) return;
  const [path, anchor] = split(topic);
  frame.src = base + 't/' + file + '/' + encodePath(path) + anchor;
  history.replaceState(null, '', base + 'w/' + win + '/' + encodePath(path) + anchor);
  current = topic;
  mark();
}
// The contents entry of the topic shown, with the branches above it opened.
function mark() {
  const path = split(current)[0];
  document.querySelectorAll('a.current').forEach((a) => a.classList.remove('current'));
  const link = tocLinks.get(path.toLowerCase());
  if (link) {
    link.classList.add('current');
    for (let d = link.parentElement; d; d = d.parentElement) if (d.tagName === 'DETAILS') d.open = true;
  }
}
function link(text, topic) {
  const a = document.createElement('a');
  a.textContent = text;
  a.title = text;
  if (topic) {
    a.href = '#';
    a.addEventListener('click', (e) => { e.preventDefault(); show(topic); });
  } else {
    a.className = 'note';
  }
  return a;
}

function pane(name) {
  for (const p of ['toc', 'index', 'search']) {
    $(p).classList.toggle('shown', p === name);
    $('tab-' + p).setAttribute('aria-selected', p === name ? 'true' : 'false');
  }
  if (name === 'index') { loadIndex(); $('filter').focus(); }
  if (name === 'search') $('query').focus();
}

// The contents: a tree whose branches open and close.
function buildToc(entries) {
  const root = document.createElement('ul');
  const stack = [root];
  for (let i = 0; i < entries.length; ++i) {
    const [depth, name, local] = entries[i];
    const level = Math.min(depth, stack.length - 1);
    stack.length = level + 1;
    const li = document.createElement('li');
    const a = link(name, local);
    if (local) tocLinks.set(split(local)[0].toLowerCase(), a);
    if (i + 1 < entries.length && entries[i + 1][0] > depth) {
      const details = document.createElement('details');
      const summary = document.createElement('summary');
      summary.appendChild(a);
      details.appendChild(summary);
      const ul = document.createElement('ul');
      details.appendChild(ul);
      li.appendChild(details);
      stack.push(ul);
    } else {
      li.appendChild(a);
    }
    stack[level].appendChild(li);
  }
  $('toc').replaceChildren(root);
}

// The index: keywords with their sub-entries; the filter finds a keyword by its beginning
// first, then anywhere in it, a sub-entry also as "keyword, sub-entry".
// A list of tens of thousands of keywords is found at once but shown a page at a time: more
// rows follow as the list scrolls to its end.
const kPage = 300;
let found = [];
let shown = 0;
function loadIndex() {
  if (index || !file) return;
  index = [];
  fetch(base + 'd/' + file + '/index.json').then((r) => r.json()).then((entries) => {
    const path = [];
    index = entries.map(([depth, name, local], i) => {
      path.length = depth;
      path.push(name);
      let topic = local;
      for (let k = i + 1; !topic && k < entries.length && entries[k][0] > depth; ++k) topic = entries[k][2];
      const full = path.join(', ');
      return { depth, name, topic, full, key: name.toLowerCase(), fullKey: full.toLowerCase() };
    });
    renderIndex();
  });
}
function renderIndex() {
  const text = $('filter').value.trim().toLowerCase();
  found = index;
  if (text) {
    const first = [];
    const later = [];
    for (const e of index) {
      if (e.key.startsWith(text) || e.fullKey.startsWith(text)) first.push(e);
      else if (e.fullKey.includes(text)) later.push(e);
    }
    found = first.concat(later);
  }
  $('keywords').replaceChildren();
  $('index').scrollTop = 0;
  shown = 0;
  moreIndex();
}
function moreIndex() {
  const text = $('filter').value.trim();
  const items = document.createDocumentFragment();
  const end = Math.min(found.length, shown + kPage);
  for (; shown < end; ++shown) {
    const e = found[shown];
    const li = document.createElement('li');
    if (!text) li.className = 'd' + Math.min(e.depth, 3);
    li.appendChild(link(text && e.depth ? e.full : e.name, e.topic));
    items.appendChild(li);
  }
  $('keywords').appendChild(items);
}

// The full-text search; the server makes its index on the first search of a file.
function search(e) {
  if (e) e.preventDefault();
  const query = $('query').value.trim();
  if (!query || !file) return;
  $('status').textContent = 'Searching...';
  fetch(base + 'd/' + file + '/search?q=' + encodeURIComponent(query)).then((r) => r.json()).then((answer) => {
    if (answer.state === 'building') {
      $('status').textContent = 'Making the search index of this help file...';
      setTimeout(search, 300);
      return;
    }
    const results = document.createDocumentFragment();
    for (const [path, title] of answer.results || []) {
      const li = document.createElement('li');
      li.appendChild(link(title || path, path));
      results.appendChild(li);
    }
    $('results').replaceChildren(results);
    $('status').textContent = answer.state === 'ready'
      ? (answer.results.length ? answer.results.length + ' topics found' : 'No topic holds these words')
      : 'This help file cannot be searched';
  });
}

function follow(state) {
  if (state.closed) {
    $('closed').hidden = false;
    events.close();
    return;
  }
  if (state.seq <= seq) return;
  seq = state.seq;
  if (state.topic) show(state.topic);
  pane(state.pane || 'toc');
}

for (const p of ['toc', 'index', 'search']) $('tab-' + p).addEventListener('click', () => pane(p));
$('filter').addEventListener('input', () => { if (index) renderIndex(); });
$('index').addEventListener('scroll', () => {
  const pane = $('index');
  if (shown < found.length && pane.scrollTop + pane.clientHeight > pane.scrollHeight - 200) moreIndex();
});
$('find').addEventListener('submit', search);

const first = decodeURIComponent(where[3]) + location.hash;
let events = null;
// The page names its file: the contents are asked for at once, beside the window's state.
file = document.body.dataset.file;
const contents = fetch(base + 'd/' + file + '/toc.json').then((r) => r.json());
fetch(base + 'w/' + win + '/state').then((r) => r.json()).then((state) => {
  seq = state.seq;
  show(first || state.topic);
  pane(state.pane || 'toc');
  contents.then((entries) => {
    buildToc(entries);
    mark();
  });
  events = new EventSource(base + 'w/' + win + '/events');
  events.addEventListener('state', (e) => follow(JSON.parse(e.data)));
});
)js";

std::string EscapeHtml(std::string_view text) {
  std::string out;
  for (char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

}  // namespace

std::string HelpPageHtml(const std::string& token, std::string_view title,
                         const std::string& file) {
  const std::string base = "/" + EscapeHtml(token) + "/s/";
  return "<!DOCTYPE html>\n<html><head><meta charset=\"utf-8\"><title>" +
         EscapeHtml(title.empty() ? "Help" : title) +
         "</title>\n<link rel=\"icon\" href=\"data:,\">\n<link rel=\"stylesheet\" href=\"" + base +
         "app.css\"></head>\n<body data-file=\"" + EscapeHtml(file) +
         "\">\n<nav id=\"side\">\n<div id=\"tabs\" role=\"tablist\">"
         "<button id=\"tab-toc\" role=\"tab\">Contents</button>"
         "<button id=\"tab-index\" role=\"tab\">Index</button>"
         "<button id=\"tab-search\" role=\"tab\">Search</button></div>\n"
         "<div id=\"toc\" class=\"pane\"></div>\n"
         "<div id=\"index\" class=\"pane\"><input id=\"filter\" type=\"search\" "
         "placeholder=\"Type the keyword to find\" autocomplete=\"off\"><ul id=\"keywords\">"
         "</ul></div>\n"
         "<div id=\"search\" class=\"pane\"><form id=\"find\"><input id=\"query\" "
         "type=\"search\" placeholder=\"Words to search for\" autocomplete=\"off\"></form>"
         "<p id=\"status\" class=\"note\"></p><ul id=\"results\"></ul></div>\n</nav>\n"
         "<iframe id=\"topic\" name=\"topic\" title=\"Topic\" "
         "sandbox=\"allow-scripts allow-popups allow-forms allow-modals\"></iframe>\n"
         "<div id=\"closed\" hidden>This help window was closed by its program.</div>\n"
         "<script src=\"" +
         base + "app.js\"></script>\n</body></html>\n";
}

std::string_view HelpPageScript() {
  return kScript;
}

std::string_view HelpPageStyle() {
  return kStyle;
}

}  // namespace borvane::platform

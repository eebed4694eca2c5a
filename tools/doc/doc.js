/* The pages of rkdd doc: the index's filter, and on a record's page the
** info line of the box under the pointer or the focus, and in-line records
** expanded on demand from the site's layout file. No framework. */
(function () {
  'use strict';
  var NS = 'http://www.w3.org/2000/svg';
  var BAND = 44, MAX_DEPTH = 8, MAX_ELEMENTS = 16;

  /* The index: rows whose text holds what is typed, case ignored. */
  function setUpSearch(box) {
    var rows = Array.prototype.slice.call(document.querySelectorAll('#index tbody tr'));
    var texts = rows.map(function (r) { return r.textContent.toLowerCase(); });
    var count = document.getElementById('count');
    function apply() {
      var q = box.value.trim().toLowerCase(), shown = 0;
      for (var i = 0; i < rows.length; i++) {
        var hit = q === '' || texts[i].indexOf(q) >= 0;
        rows[i].hidden = !hit;
        if (hit) shown++;
      }
      if (count) count.textContent = shown + ' of ' + rows.length + ' shown';
    }
    box.addEventListener('input', apply);
    apply();
  }

  /* Layout files are scripts, so that pages opened as files can load them. */
  var pending = {};
  window.RKDD_LAYOUT = window.RKDD_LAYOUT || {};
  function loadLayout(src) {
    if (!pending[src]) {
      pending[src] = new Promise(function (resolve, reject) {
        var s = document.createElement('script');
        s.src = src;
        s.onload = function () { resolve(window.RKDD_LAYOUT); };
        s.onerror = function () { reject(new Error('cannot load ' + src)); };
        document.head.appendChild(s);
      });
    }
    return pending[src];
  }

  function el(name, attrs, parent) {
    var e = document.createElementNS(NS, name);
    for (var k in attrs) e.setAttribute(k, attrs[k]);
    if (parent) parent.appendChild(e);
    return e;
  }
  function fmt(v) { return String(Math.round(v * 1000) / 1000); }

  /* A box's title says what it is; an in-line record adds what a click does. */
  function describe(g) {
    var title = g.querySelector('title'), text = title ? title.textContent : '';
    if (g.dataset.rec) text += g.getAttribute('aria-expanded') === 'true' ? ' (click to fold)' : ' (click to open)';
    return text;
  }

  function titleOf(name, type, off, size, n, bit, kind) {
    var t = name + ': ' + type + ', offset ' + off + ', ' + size + (size === 1 ? ' byte' : ' bytes');
    if (n > 1) t += ', ' + n + ' elements';
    if (bit !== null) t += ', bit ' + bit;
    if (kind === 1) t += ', pointer';
    return t;
  }

  /* One box, as the page's own boxes are drawn: the same classes, the same
  ** geometry: x = left + offset * scale, width = size * scale. */
  function drawBox(parent, svg, layout, abs, row, depth) {
    var sc = +svg.dataset.scale, left = +svg.dataset.left, y = +svg.dataset.top + depth * BAND;
    var fcode = row[0], size = row[2], bit = row[3], kind = row[4], n = row[5], inLine = row[6];
    var def = layout.defs[fcode] || ['#' + fcode, '?', -1];
    var cls = 'f ' + (kind === 1 ? 'k-ptr' : inLine ? 'k-rec' : (def[2] === 9 || def[2] === 10) ? 'k-bit' : 'k-data');
    if (size < 0) cls += ' bad';
    var g = el('g', { 'class': cls, tabindex: '0' }, parent);
    var isBit = kind !== 1 && (def[2] === 9 || def[2] === 10);
    el('title', {}, g).textContent = titleOf(def[0], kind === 1 ? def[1] + ' *' : def[1], abs, size, n,
      isBit || bit ? bit : null, kind);
    g.dataset.off = abs; g.dataset.size = size; g.dataset.n = n;
    var x = left + abs * sc, w = Math.max(size, 0) * sc;
    el('rect', { 'class': 'box', x: fmt(x), y: fmt(y), width: fmt(w), height: 36, rx: 2 }, g);
    if (n > 1 && kind !== 1 && w / n >= 3) {
      var d = '';
      for (var i = 1; i < n; i++) d += 'M' + fmt(x + w * i / n) + ' ' + y + 'v36';
      el('path', { 'class': 'cells', d: d }, g);
    }
    if (isBit && size > 0) { /* the byte that holds the bit, as eight cells, that bit filled */
      var byte = Math.floor(bit / 8) < size ? Math.floor(bit / 8) : 0, bx = x + byte * sc, cell = sc / 8, by = y + 27;
      var bd = 'M' + fmt(bx) + ' ' + fmt(by) + 'h' + fmt(sc);
      if (cell >= 2) for (var k = 1; k < 8; k++) bd += 'M' + fmt(bx + k * cell) + ' ' + fmt(by) + 'v9';
      el('path', { 'class': 'bits', d: bd }, g);
      el('rect', { 'class': 'bit', x: fmt(bx + (bit % 8) * cell), y: fmt(by), width: fmt(Math.max(cell, 1)), height: 9 }, g);
    }
    var label = (kind === 1 ? '*' : '') + def[0], room = w > 6 ? Math.floor((w - 6) / 7) : 0;
    if (label.length > room) label = room >= 4 ? label.slice(0, room - 1) + '\u2026' : '';
    if (label) {
      el('text', { x: fmt(x + 4), y: y + 15 }, g).textContent = label;
      var sub = size + ' B';
      if (sub.length * 6 + 6 <= w) el('text', { 'class': 'sub', x: fmt(x + 4), y: y + 28 }, g).textContent = sub;
    }
    if (inLine && layout.recs[fcode]) {
      g.dataset.rec = fcode;
      g.setAttribute('aria-expanded', 'false');
    }
    return g;
  }

  /* Opens or folds the in-line record of box g, drawing it on first use. */
  function toggle(svg, g) {
    var src = document.body.dataset.layout;
    if (!g.dataset.rec || !src) return Promise.resolve();
    if (g.nest) {
      var open = g.getAttribute('aria-expanded') !== 'true';
      g.nest.style.display = open ? '' : 'none';
      g.setAttribute('aria-expanded', open ? 'true' : 'false');
      return Promise.resolve();
    }
    return loadLayout(src).then(function (all) {
      var layout = all[svg.dataset.site];
      var rec = layout && layout.recs[g.dataset.rec];
      var depth = +(g.dataset.depth || 0) + 1;
      if (!rec || depth > MAX_DEPTH) return;
      var nest = el('g', { 'class': 'nest', 'data-of': g.dataset.off }, g.parentNode);
      var n = Math.min(+g.dataset.n || 1, MAX_ELEMENTS), each = (+g.dataset.size) / (+g.dataset.n || 1);
      for (var e = 0; e < n; e++) {
        var base = +g.dataset.off + e * each;
        for (var i = 1; i < rec.length; i++) {
          var b = drawBox(nest, svg, layout, base + rec[i][1], rec[i], depth);
          b.dataset.depth = depth;
        }
      }
      g.nest = nest;
      g.setAttribute('aria-expanded', 'true');
      var need = +svg.dataset.top + (depth + 1) * BAND;
      if (need > +svg.getAttribute('height')) svg.setAttribute('height', need);
    });
  }

  function setUpPicture(svg) {
    var info = document.getElementById('info');
    function show(e) {
      var g = e.target.closest && e.target.closest('g.f');
      if (!g || !info) return;
      svg.querySelectorAll('g.f.on').forEach(function (o) { o.classList.remove('on'); });
      g.classList.add('on');
      info.textContent = describe(g);
    }
    svg.addEventListener('mouseover', show);
    svg.addEventListener('focusin', show);
    function act(e) {
      var g = e.target.closest && e.target.closest('g.f');
      if (g && g.dataset.rec) toggle(svg, g).then(function () { show({ target: g }); });
    }
    svg.addEventListener('click', act);
    svg.addEventListener('keydown', function (e) {
      if (e.key === 'Enter' || e.key === ' ') { e.preventDefault(); act(e); }
    });
    /* Small records open their in-line records at once. */
    if (svg.dataset.open !== '1') return Promise.resolve();
    var boxes = Array.prototype.slice.call(svg.querySelectorAll(':scope > g.k-rec[data-rec]'));
    return Promise.all(boxes.map(function (g) { return toggle(svg, g); }));
  }

  var ready = [];
  var search = document.getElementById('search');
  if (search) setUpSearch(search);
  document.querySelectorAll('svg.layout').forEach(function (svg) { ready.push(setUpPicture(svg)); });
  window.rkddReady = Promise.all(ready);
})();

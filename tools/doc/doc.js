/* The pages of rkdd doc: the index's filter, and on a record's page the
** picture of its packed layout, drawn here and nowhere else from the layout
** data of the page (and, for records opened in line, of the site's layout
** file), with the info line of the box under the pointer or the focus.
** No framework. */
(function () {
  'use strict';
  var NS = 'http://www.w3.org/2000/svg';
  /* The geometry of every picture: a box of a field lies at x = LEFT +
  ** offset * scale and is size * scale wide, a band of boxes per depth. */
  var LEFT = 8, TOP = 28, BAND = 44, BOX = 36, STRIP = 9, SPAN = 960;
  var CHAR = 7, DIGIT = 6, MAX_DEPTH = 8, MAX_ELEMENTS = 16;
  /* The classes of the boxes, by the box number of the layout data. */
  var BOXES = ['k-data', 'k-bit', 'k-rec', 'k-ptr'], BITS = 1, POINTER = 3;

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

  /* Pixels per byte for a record of this many bytes, to two decimals. */
  function scaleFor(total) {
    if (total <= 0) return 48;
    return Math.min(Math.max(Math.floor(SPAN / total * 100) / 100, 2), 48);
  }

  /* The label as it fits a box w pixels wide: whole, cut short between two
  ** characters (never inside one) with an ellipsis, or empty when not even
  ** four fit. */
  function fitLabel(label, w) {
    var chars = Array.from(label), room = w > 6 ? Math.floor((w - 6) / CHAR) : 0;
    if (chars.length <= room) return label;
    return room >= 4 ? chars.slice(0, room - 1).join('') + '\u2026' : '';
  }

  /* A box's title: name, type, offset, size, elements, bits, pointer, problem. */
  function titleOf(def, row, abs, problems) {
    var size = row[2], bit = row[3], box = row[4], n = row[5], problem = row[7], width = row[8];
    var t = def[0] + ': ' + def[1] + (box === POINTER ? ' *' : n > 1 ? '[' + n + ']' : '');
    t += ', offset ' + abs + ', ' + size + (size === 1 ? ' byte' : ' bytes');
    if (n > 1 && box !== POINTER) t += ', ' + n + ' elements';
    if (width > 1) t += ', bits ' + bit + '..' + (bit + width - 1);
    else if (box === BITS || bit) t += ', bit ' + bit;
    if (box === POINTER) t += ', pointer';
    if (problem && problems[problem]) t += ', ' + problems[problem];
    return t;
  }

  /* The bytes that hold a field's value, eight cells each, and its bits
  ** low..low + width - 1 filled: bit k of the slot is cell k % 8 of byte
  ** k / 8, so the bits of a value are one run of cells. */
  function drawBits(g, x, y, sc, low, width, size) {
    width = Math.max(width, 1);
    if (low + width > 8 * size) { low %= 8; width = 1; }
    var first = Math.floor(low / 8), last = Math.floor((low + width - 1) / 8);
    var cell = sc / 8, by = y + BOX - STRIP, d = '';
    for (var b = first; b <= last; b++) {
      var bx = x + b * sc;
      d += 'M' + fmt(bx) + ' ' + fmt(by) + 'h' + fmt(sc);
      if (cell >= 2) for (var k = 1; k < 8; k++) d += 'M' + fmt(bx + k * cell) + ' ' + fmt(by) + 'v' + STRIP;
    }
    el('path', { 'class': 'bits', d: d }, g);
    el('rect', { 'class': 'bit', x: fmt(x + low * cell), y: fmt(by), width: fmt(Math.max(width * cell, 1)), height: STRIP }, g);
  }

  /* One box for a row [code, offset, size, bit, box, count, opens, problem]
  ** of the layout data, at byte abs of the record, in band depth. */
  function drawBox(parent, svg, defs, row, abs, depth, problems) {
    var code = row[0], size = row[2], bit = row[3], box = row[4], n = row[5];
    var def = defs[code] || ['#' + code, '?'];
    var g = el('g', { 'class': 'f ' + (row[7] ? 'bad' : BOXES[box]), tabindex: '0' }, parent);
    el('title', {}, g).textContent = titleOf(def, row, abs, problems);
    g.dataset.off = abs; g.dataset.size = size; g.dataset.n = n;
    var sc = +svg.dataset.scale, x = LEFT + abs * sc, y = TOP + depth * BAND, w = Math.max(size, 0) * sc;
    el('rect', { 'class': 'box', x: fmt(x), y: fmt(y), width: fmt(w), height: BOX, rx: 2 }, g);
    if (n > 1 && box !== POINTER && w / n >= 3) {
      var d = '';
      for (var i = 1; i < n; i++) d += 'M' + fmt(x + w * i / n) + ' ' + y + 'v' + BOX;
      el('path', { 'class': 'cells', d: d }, g);
    }
    if (box === BITS && size > 0) drawBits(g, x, y, sc, bit, row[8], size);
    var label = fitLabel((box === POINTER ? '*' : '') + def[0], w);
    if (label) {
      el('text', { x: fmt(x + 4), y: y + 15 }, g).textContent = label;
      var sub = size + ' B';
      if (sub.length * DIGIT + 6 <= w) el('text', { 'class': 'sub', x: fmt(x + 4), y: y + 28 }, g).textContent = sub;
    }
    if (row[6]) {
      g.dataset.rec = code;
      g.setAttribute('aria-expanded', 'false');
    }
    return g;
  }

  /* The byte ruler; gives the x at which its last number ends. */
  function drawRuler(svg, total, sc) {
    var step = 1, b, end = LEFT;
    while (step * sc < 48) step *= 2;
    var d = 'M' + LEFT + ' 20H' + fmt(LEFT + total * sc);
    for (b = 0; b <= total; b += step) d += 'M' + fmt(LEFT + b * sc) + ' 13v11';
    if (step > 1 && sc >= 5) /* a short tick per byte between the numbered ones */
      for (b = 0; b <= total; b++) if (b % step) d += 'M' + fmt(LEFT + b * sc) + ' 17v5';
    var g = el('g', { 'class': 'ruler', 'aria-hidden': 'true' }, svg);
    el('path', { d: d }, g);
    for (b = 0; b <= total; b += step) {
      el('text', { x: fmt(LEFT + b * sc + 2), y: 10 }, g).textContent = b;
      end = LEFT + b * sc + 2 + String(b).length * DIGIT;
    }
    return end;
  }

  /* The picture of the page's record, from the page's layout data. */
  function drawPicture(svg, data) {
    var total = Math.max(data.length, 0), nests = false;
    data.fields.forEach(function (r) {
      total = Math.max(total, r[1] + Math.max(r[2], 0));
      nests = nests || r[6] === 1;
    });
    var sc = scaleFor(total);
    svg.dataset.site = data.site; svg.dataset.scale = sc; svg.dataset.left = LEFT; svg.dataset.top = TOP;
    var end = drawRuler(svg, total, sc);
    svg.setAttribute('width', fmt(Math.max(120, 2 * LEFT + total * sc, end + 2)));
    svg.setAttribute('height', TOP + BAND * (nests ? 2 : 1));
    data.fields.forEach(function (r) { drawBox(svg, svg, data.defs, r, r[1], 0, data.problems); });
  }

  /* Opens or folds the in-line record of box g, drawing it on first use. */
  function toggle(svg, g, problems) {
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
      var rows = layout && layout.recs[g.dataset.rec];
      var depth = +(g.dataset.depth || 0) + 1;
      if (!rows || depth > MAX_DEPTH) return;
      var nest = el('g', { 'class': 'nest', 'data-of': g.dataset.off }, g.parentNode);
      var n = Math.min(+g.dataset.n || 1, MAX_ELEMENTS), each = (+g.dataset.size) / (+g.dataset.n || 1);
      for (var e = 0; e < n; e++) {
        var base = +g.dataset.off + e * each;
        rows.forEach(function (r) {
          drawBox(nest, svg, layout.defs, r, base + r[1], depth, problems).dataset.depth = depth;
        });
      }
      g.nest = nest;
      g.setAttribute('aria-expanded', 'true');
      var need = TOP + (depth + 1) * BAND;
      if (need > +svg.getAttribute('height')) svg.setAttribute('height', need);
    });
  }

  /* A box's title says what it is; an in-line record adds what a click does. */
  function describe(g) {
    var title = g.querySelector('title'), text = title ? title.textContent : '';
    if (g.dataset.rec) text += g.getAttribute('aria-expanded') === 'true' ? ' (click to fold)' : ' (click to open)';
    return text;
  }

  function setUpPicture(svg, data) {
    drawPicture(svg, data);
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
      if (g && g.dataset.rec) toggle(svg, g, data.problems).then(function () { show({ target: g }); });
    }
    svg.addEventListener('click', act);
    svg.addEventListener('keydown', function (e) {
      if (e.key === 'Enter' || e.key === ' ') { e.preventDefault(); act(e); }
    });
    /* Small records open their in-line records at once. */
    if (!data.open) return Promise.resolve();
    var boxes = Array.prototype.slice.call(svg.querySelectorAll(':scope > g.k-rec[data-rec]'));
    return Promise.all(boxes.map(function (g) { return toggle(svg, g, data.problems); }));
  }

  var ready = [];
  var search = document.getElementById('search');
  if (search) setUpSearch(search);
  var svg = document.querySelector('svg.layout'), data = document.getElementById('layout-data');
  if (svg && data) ready.push(setUpPicture(svg, JSON.parse(data.textContent)));
  window.rkddReady = Promise.all(ready);
})();

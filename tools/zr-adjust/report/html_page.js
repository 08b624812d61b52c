// The HTML report's script: sorting and paging of the tables, zoom, pan and point names on
// the plan, and a self-test that runs when the page is opened with #selftest. The page is
// complete without it; the script only makes large networks easier to read on screen.
(function () {
  'use strict';
  var pageSize = 100;

  // ---- tables -------------------------------------------------------------------------------

  // The value a cell sorts by: its data-sort, else its number, else its text; empty and "n/a"
  // sort after everything else whatever the direction.
  function sortKey(cell) {
    var text = cell.hasAttribute('data-sort') ? cell.getAttribute('data-sort') : cell.textContent;
    if (text === '' || text === 'n/a') return null;
    if (/^[-+]?[0-9.]/.test(text)) {
      var number = parseFloat(text);
      if (!isNaN(number)) return number;
    }
    return text;
  }

  function compareKeys(a, b) {
    if (a === null || b === null) return a === null ? (b === null ? 0 : 1) : -1;
    if (typeof a === typeof b) return a < b ? -1 : a > b ? 1 : 0;
    return typeof a === 'number' ? -1 : 1;
  }

  function PagedTable(table) {
    this.table = table;
    this.body = table.tBodies[0];
    this.rows = Array.prototype.slice.call(this.body.rows);
    this.page = 0;
    this.sortColumn = -1;
    this.descending = false;
    if (this.rows.length > pageSize) this.addPager();
    var self = this;
    Array.prototype.forEach.call(table.tHead.rows[0].cells, function (header, column) {
      header.classList.add('sortable');
      header.setAttribute('title', 'Sort by this column');
      header.addEventListener('click', function () { self.sortBy(column); });
    });
    this.show();
  }

  PagedTable.prototype.addPager = function () {
    var pager = document.createElement('div');
    pager.className = 'pager';
    var self = this;
    function button(label, action) {
      var element = document.createElement('button');
      element.type = 'button';
      element.textContent = label;
      element.addEventListener('click', action);
      pager.appendChild(element);
      return element;
    }
    button('\u2190 previous', function () { self.turnTo(self.page - 1); });
    this.status = document.createElement('span');
    pager.appendChild(this.status);
    button('next \u2192', function () { self.turnTo(self.page + 1); });
    this.allButton = button('show all rows', function () {
      self.showAll = !self.showAll;
      self.allButton.textContent = self.showAll ? 'show in pages' : 'show all rows';
      self.show();
    });
    this.table.parentNode.parentNode.insertBefore(pager, this.table.parentNode);
  };

  PagedTable.prototype.pageCount = function () {
    return Math.max(1, Math.ceil(this.rows.length / pageSize));
  };

  PagedTable.prototype.turnTo = function (page) {
    this.page = Math.min(Math.max(page, 0), this.pageCount() - 1);
    this.show();
  };

  PagedTable.prototype.show = function () {
    var first = this.page * pageSize, last = first + pageSize;
    var paged = this.rows.length > pageSize && !this.showAll;
    for (var i = 0; i < this.rows.length; ++i) {
      var hidden = paged && (i < first || i >= last);
      if (this.rows[i].classList.contains('off-page') !== hidden) this.rows[i].classList.toggle('off-page', hidden);
    }
    if (this.status) {
      this.status.textContent = paged ? 'rows ' + (first + 1) + '\u2013' + Math.min(last, this.rows.length) +
        ' of ' + this.rows.length : 'all ' + this.rows.length + ' rows';
    }
  };

  PagedTable.prototype.sortBy = function (column) {
    this.descending = this.sortColumn === column ? !this.descending : false;
    this.sortColumn = column;
    var sign = this.descending ? -1 : 1;
    var keyed = this.rows.map(function (row, order) {
      return { row: row, key: sortKey(row.cells[column]), order: order };
    });
    keyed.sort(function (a, b) {
      var nullFirst = (a.key === null) - (b.key === null);
      if (nullFirst) return nullFirst;
      return sign * compareKeys(a.key, b.key) || a.order - b.order;
    });
    var fragment = document.createDocumentFragment();
    this.rows = keyed.map(function (item) { fragment.appendChild(item.row); return item.row; });
    this.body.appendChild(fragment);
    Array.prototype.forEach.call(this.table.tHead.rows[0].cells, function (header, index) {
      if (index === column) header.setAttribute('aria-sort', sign > 0 ? 'ascending' : 'descending');
      else header.removeAttribute('aria-sort');
    });
    this.turnTo(0);
  };

  // Shows the page that holds the row with the given id; true when it was found.
  PagedTable.prototype.reveal = function (id) {
    for (var i = 0; i < this.rows.length; ++i) {
      if (this.rows[i].id === id) {
        if (!this.showAll) this.turnTo(Math.floor(i / pageSize));
        return true;
      }
    }
    return false;
  };

  var tables = {};
  Array.prototype.forEach.call(document.querySelectorAll('table.data'), function (table) {
    tables[table.id] = new PagedTable(table);
  });

  function revealTarget() {
    var id = decodeURIComponent(location.hash.slice(1));
    if (!id || id === 'selftest') return;
    for (var name in tables) {
      if (tables[name].reveal(id)) {
        var row = document.getElementById(id);
        if (row) row.scrollIntoView({ block: 'center' });
        return;
      }
    }
  }
  window.addEventListener('hashchange', revealTarget);
  revealTarget();

  // ---- plan ---------------------------------------------------------------------------------

  var plan = document.getElementById('plan-svg');
  var planData = null, reportData = null;

  function readJson(id) {
    var element = document.getElementById(id);
    return element ? JSON.parse(element.textContent) : null;
  }

  function Plan(svg) {
    var box = svg.viewBox.baseVal;
    this.svg = svg;
    this.home = [box.x, box.y, box.width, box.height];
    this.view = this.home.slice();
    this.tip = document.getElementById('plan-tip');
    var self = this, drag = null;
    svg.addEventListener('wheel', function (event) {
      event.preventDefault();
      var at = self.toPlan(event.clientX, event.clientY);
      self.zoom(event.deltaY < 0 ? 1 / 1.25 : 1.25, at.x, at.y);
    }, { passive: false });
    svg.addEventListener('mousedown', function (event) {
      drag = { x: event.clientX, y: event.clientY, view: self.view.slice() };
      svg.style.cursor = 'grabbing';
    });
    window.addEventListener('mouseup', function () { drag = null; svg.style.cursor = ''; });
    svg.addEventListener('mousemove', function (event) {
      if (drag) {
        var scale = self.view[2] / svg.getBoundingClientRect().width;
        self.view[0] = drag.view[0] - (event.clientX - drag.x) * scale;
        self.view[1] = drag.view[1] - (event.clientY - drag.y) * scale;
        self.apply();
      } else {
        self.hover(event);
      }
    });
    svg.addEventListener('mouseleave', function () { self.tip.hidden = true; });
    svg.addEventListener('dblclick', function () { self.view = self.home.slice(); self.apply(); });
  }

  Plan.prototype.toPlan = function (clientX, clientY) {
    var rectangle = this.svg.getBoundingClientRect();
    return { x: this.view[0] + (clientX - rectangle.left) / rectangle.width * this.view[2],
             y: this.view[1] + (clientY - rectangle.top) / rectangle.height * this.view[3] };
  };

  Plan.prototype.zoom = function (factor, x, y) {
    var v = this.view;
    this.view = [x - (x - v[0]) * factor, y - (y - v[1]) * factor, v[2] * factor, v[3] * factor];
    this.apply();
  };

  Plan.prototype.apply = function () {
    this.svg.setAttribute('viewBox', this.view.join(' '));
  };

  // Names the drawn point nearest to the mouse, if it is within a few screen pixels.
  Plan.prototype.hover = function (event) {
    planData = planData || readJson('plan-data');
    reportData = reportData || readJson('report-data');
    var at = this.toPlan(event.clientX, event.clientY);
    var rectangle = this.svg.getBoundingClientRect();
    var reach = 8 * this.view[2] / rectangle.width, best = null, bestDistance = reach * reach;
    planData.points.forEach(function (point) {
      var du = point[1] - at.x, dv = point[2] - at.y, distance = du * du + dv * dv;
      if (distance <= bestDistance) { best = point; bestDistance = distance; }
    });
    if (!best) { this.tip.hidden = true; return; }
    var frame = this.svg.parentNode.getBoundingClientRect();
    this.tip.textContent = reportData.points.name[best[0]];
    this.tip.style.left = (event.clientX - frame.left + 12) + 'px';
    this.tip.style.top = (event.clientY - frame.top + 12) + 'px';
    this.tip.hidden = false;
  };

  var planView = plan ? new Plan(plan) : null;

  // ---- self-test ----------------------------------------------------------------------------

  // Run with #selftest: checks what a reader relies on and writes the verdict into the page,
  // where a headless browser's DOM dump finds it.
  function selfTest() {
    var failures = [], notes = [];
    function check(condition, message) { if (!condition) failures.push(message); }
    reportData = reportData || readJson('report-data');
    check(reportData !== null, 'the data block is missing');
    check(plan !== null && plan.querySelectorAll('path').length > 0, 'the plan has no drawing');
    var expected = { 'table-points': reportData.points.name.length,
                     'table-observations': reportData.observations.type.length };
    for (var id in expected) {
      var table = document.getElementById(id);
      check(table !== null && table.tBodies[0].rows.length === expected[id],
            id + ' does not have ' + expected[id] + ' rows');
    }
    // Sorting: the first numeric column whose values are not already in order.
    var sorted = false;
    ['table-observations', 'table-points'].forEach(function (id) {
      var paged = tables[id];
      if (!paged || sorted) return;
      var headers = paged.table.tHead.rows[0].cells;
      for (var column = 0; column < headers.length && !sorted; ++column) {
        if (!headers[column].hasAttribute('data-field')) continue;
        var keys = paged.rows.map(function (row) { return sortKey(row.cells[column]); });
        var numbers = keys.filter(function (key) { return typeof key === 'number'; });
        var inOrder = numbers.every(function (value, i) { return i === 0 || numbers[i - 1] <= value; });
        if (numbers.length < 2 || inOrder) continue;
        var before = paged.rows[0];
        headers[column].click();
        var after = paged.rows.map(function (row) { return sortKey(row.cells[column]); })
          .filter(function (key) { return typeof key === 'number'; });
        check(after.every(function (value, i) { return i === 0 || after[i - 1] <= value; }),
              id + ': column ' + column + ' is not ascending after a click');
        check(paged.rows[0] !== before || numbers[0] === after[0], id + ': rows did not move');
        headers[column].click();
        var down = paged.rows.map(function (row) { return sortKey(row.cells[column]); })
          .filter(function (key) { return typeof key === 'number'; });
        check(down.every(function (value, i) { return i === 0 || down[i - 1] >= value; }),
              id + ': column ' + column + ' is not descending after a second click');
        check(paged.body.rows[0] === paged.rows[0], id + ': the table body does not follow');
        notes.push('sorted ' + id + ' by "' + headers[column].textContent + '"');
        sorted = true;
      }
    });
    check(sorted, 'no column could be sorted');
    // A flagged observation's link shows its row, whichever page the table is on.
    var link = document.querySelector('ol.flagged a');
    if (link) {
      var id = link.getAttribute('href').slice(1), row = document.getElementById(id);
      var observations = tables['table-observations'];
      check(row !== null, 'a flagged observation links to nothing: ' + id);
      observations.turnTo(observations.pageCount() - 1);
      observations.reveal(id);
      check(row !== null && !row.classList.contains('off-page'), 'the linked row ' + id + ' stays hidden');
      notes.push('revealed ' + id);
    }
    if (planView) {
      var box = plan.getAttribute('viewBox');
      plan.dispatchEvent(new WheelEvent('wheel', { deltaY: -100, clientX: 10, clientY: 10,
                                                   bubbles: true, cancelable: true }));
      check(plan.getAttribute('viewBox') !== box, 'the plan does not zoom');
      plan.dispatchEvent(new MouseEvent('dblclick', { bubbles: true }));
      check(plan.getAttribute('viewBox') === planView.home.join(' '), 'the plan does not reset');
    }
    check(window.reportErrors.length === 0, 'script errors: ' + window.reportErrors.join('; '));
    var verdict = document.createElement('pre');
    verdict.id = 'selftest-verdict';
    verdict.textContent = failures.length ? 'selftest: FAIL\n' + failures.join('\n')
                                          : 'selftest: PASS (' + notes.join(', ') + ')';
    document.body.appendChild(verdict);
  }

  if (location.hash === '#selftest') {
    try {
      selfTest();
    } catch (error) {
      var verdict = document.createElement('pre');
      verdict.id = 'selftest-verdict';
      verdict.textContent = 'selftest: FAIL\n' + error;
      document.body.appendChild(verdict);
    }
  }
})();

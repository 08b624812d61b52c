#!/usr/bin/env python3
"""Checks zr-adjust's HTML report as a reader other than its writer sees it.

  html_report_check.py REPORT.html [RESULTS.json]      check one page (and tie it to the JSON)
  html_report_check.py --sample PROGRAM                 write the hand-made samples and check them
  html_report_check.py --program ZR-ADJUST NETWORK...   adjust each network and check its page

For each page: it is well-formed HTML5 (html5lib, strict: any parse error fails); it references
nothing outside itself (no script, style, font, image or frame from elsewhere); every figure in
the tables and the summary equals the page's data block at the precision shown; and the data
block equals the program's JSON where both hold the same figure. Exit status 0 when every check
passes, 1 with one line per failure otherwise.
"""

import json
import math
import os
import re
import subprocess
import sys
import tempfile

import html5lib

XHTML = '{http://www.w3.org/1999/xhtml}'
SVG = '{http://www.w3.org/2000/svg}'
RADIANS_PER_UNIT = {'gon': math.pi / 200.0, 'deg': math.pi / 180.0, 'rad': 1.0}
# The factor and decimals of each shown kind (html_format.cpp); None: decimals as written.
FIXED_KINDS = {'coordinate': (1.0, 4), 'precision': (1000.0, 2)}
ROW_ARRAYS = {'pt': 'points', 'obs': 'observations', 'set': 'orientations', 'rel': 'relative'}
# Element attributes through which a page would fetch or navigate to something.
REFERENCE_ATTRIBUTES = ('src', 'href', 'action', 'formaction', 'poster', 'data', 'srcset',
                        'background', 'cite', 'manifest', '{http://www.w3.org/1999/xlink}href')
FORBIDDEN_ELEMENTS = ('link', 'iframe', 'frame', 'img', 'object', 'embed', 'audio', 'video',
                      'source', 'base', 'form')


def angle_factor(unit, small):
    radians = RADIANS_PER_UNIT[unit]
    if not small:
        return 1.0 / radians
    return {'gon': 1000.0 / radians, 'deg': 3600.0 / radians, 'rad': 1000.0}[unit]


def shown(value, factor, decimals):
    text = '%.*f' % (decimals, value * factor)
    return text[1:] if re.fullmatch(r'-[0.]*', text) else text


def text_of(element):
    return ''.join(element.itertext())


class Page:
    def __init__(self, path):
        self.path = path
        self.failures = []
        with open(path, 'rb') as stream:
            source = stream.read()
        self.source = source.decode('utf-8')
        parser = html5lib.HTMLParser(strict=True, namespaceHTMLElements=True)
        try:
            self.tree = parser.parse(source)
        except html5lib.html5parser.ParseError as error:
            self.tree = None
            self.fail('not well-formed HTML5: %s' % error)
            return
        if not self.source.startswith('<!DOCTYPE html>'):
            self.fail('the page does not start with <!DOCTYPE html>')
        block = self.find_id('report-data')
        self.data = json.loads(block.text) if block is not None else None
        if self.data is None:
            self.fail('no data block')
            return
        # The block holds its tables column by column; the checks read them row by row.
        for table in ('iterations', 'points', 'observations', 'orientations', 'relative'):
            columns = self.data[table]
            self.data[table] = [dict(zip(columns, row)) for row in zip(*columns.values())]

    def fail(self, message):
        self.failures.append('%s: %s' % (os.path.basename(self.path), message))

    def find_id(self, identifier):
        for element in self.tree.iter():
            if element.get('id') == identifier:
                return element
        return None

    def check_self_contained(self):
        for element in self.tree.iter():
            tag = element.tag.split('}')[-1] if isinstance(element.tag, str) else ''
            if tag in FORBIDDEN_ELEMENTS:
                self.fail('element <%s> would load or send something' % tag)
            if tag == 'script' and element.get('src') is not None:
                self.fail('a script from a file: %s' % element.get('src'))
            for name in REFERENCE_ATTRIBUTES:
                value = element.get(name)
                if value is not None and not value.startswith('#'):
                    self.fail('<%s %s="%s"> points outside the page' % (tag, name, value))
            for name, value in element.attrib.items():
                if name.startswith('xmlns') or name == 'xmlns':
                    continue
                if re.search(r'(?i)^\s*(https?:|//|file:|ftp:)|url\(', value):
                    self.fail('<%s %s="%s"> refers to something outside' % (tag, name, value))
            if tag in ('style', 'script') and element.text:
                outside = re.search(r'(?i)@import|url\(|https?:|\bfetch\(|XMLHttpRequest|'
                                    r'import\(|new WebSocket|sendBeacon', element.text)
                if outside:
                    self.fail('<%s> refers to something outside: %r' % (tag, outside.group(0)))

    def check_figure(self, where, text, value, kind, unit):
        text = text.strip()
        if value is None:
            if re.fullmatch(r'[-+]?[0-9.]+(e[-+]?[0-9]+)?', text):
                self.fail('%s shows %s where the data block has no value' % (where, text))
            return
        if kind == 'sci':
            expected = '%.3e' % value
        elif kind in FIXED_KINDS:
            expected = shown(value, *FIXED_KINDS[kind])
        else:
            if kind == 'plain':
                factor = 1.0
            elif kind in ('value', 'small', 'angle'):
                factor = 1.0 if unit is None else angle_factor(unit, kind == 'small')
                if unit is None and kind in ('small',):
                    factor = 1000.0
            elif kind == 'bearing':
                factor = angle_factor(self.data['final_unit'], False)
            else:
                self.fail('%s: unknown kind %r' % (where, kind))
                return
            decimals = len(text.split('.')[1]) if '.' in text else 0
            if kind == 'value' and unit is None:
                decimals = 4
            expected = shown(value, factor, decimals)
        if text != expected:
            self.fail('%s shows %r, the data block says %r (%r)' % (where, text, expected, value))

    def check_tables(self):
        checked = 0
        for table in self.tree.iter(XHTML + 'table'):
            classes = (table.get('class') or '').split()
            if 'data' not in classes and 'iterations' not in classes:
                continue
            headers = list(table.find(XHTML + 'thead').iter(XHTML + 'th'))
            fields = [(h.get('data-field'), h.get('data-shown')) for h in headers]
            for row in table.find(XHTML + 'tbody').iter(XHTML + 'tr'):
                if 'iterations' in classes:
                    record = self.data['iterations'][int(row.get('data-index'))]
                else:
                    prefix, index = row.get('id').rsplit('-', 1)
                    record = self.data[ROW_ARRAYS[prefix]][int(index)]
                cells = list(row.iter(XHTML + 'td'))
                if len(cells) != len(headers):
                    self.fail('row %s has %d cells for %d columns' % (row.get('id'), len(cells),
                                                                      len(headers)))
                    continue
                for (field, kind), cell in zip(fields, cells):
                    if not field:
                        continue
                    where = '%s %s' % (row.get('id') or row.get('data-index'), field)
                    self.check_figure(where, text_of(cell), record.get(field), kind,
                                      row.get('data-unit'))
                    checked += 1
            if 'data' in classes:
                body_rows = len(list(table.find(XHTML + 'tbody').iter(XHTML + 'tr')))
                name = table.get('id').split('-', 1)[1]
                array = {'points': 'points', 'observations': 'observations', 'sets': 'orientations',
                         'relative': 'relative'}[name]
                if body_rows != len(self.data[array]):
                    self.fail('%s has %d rows for %d in the data block' %
                              (table.get('id'), body_rows, len(self.data[array])))
        for span in self.tree.iter(XHTML + 'span'):
            field = span.get('data-field')
            if not field:
                continue
            value = self.data
            for key in field.split('.'):
                value = value[int(key)] if isinstance(value, list) else value[key]
            self.check_figure(field, text_of(span), value, span.get('data-shown'),
                              span.get('data-unit'))
            checked += 1
        return checked

    def check_against_json(self, results):
        """The data block holds the report's figures: where the JSON holds the same one, equal."""
        def same(where, a, b):
            if not (a == b or (a is None and b is None)):
                self.fail('%s: data block %r, JSON %r' % (where, a, b))
        same('sigma0', self.data['summary']['sigma0'], results['sigma0'])
        for i, (ours, theirs) in enumerate(zip(self.data['iterations'], results['iterations'])):
            same('iteration %d sigma0' % i, ours['sigma0'], theirs['sigma0'])
            same('iteration %d max_correction' % i, ours['max_correction'], theirs['max_correction'])
        same('point count', len(self.data['points']), len(results['points']))
        for ours, theirs in zip(self.data['points'], results['points']):
            same('point name', ours['name'], theirs['name'])
            keys = ('x', 'y', 'sx', 'sy') if ours['kind'] == 'plan' else ('x', 'y', 'z', 'sx', 'sy', 'sz')
            pairs = [('z', 'h'), ('sz', 'sh')] if 'h' in theirs else \
                [(k, k) for k in keys if k in theirs]
            for mine, key in pairs:
                same('%s %s' % (ours['name'], key), ours[mine], theirs[key])
        same('observation count', len(self.data['observations']), len(results['observations']))
        angular_in_file_units = 'datum' in results
        for i, (ours, theirs) in enumerate(zip(self.data['observations'], results['observations'])):
            same('observation %d type' % i, ours['type'], theirs['type'])
            if ours['unit'] == 'm':
                for key in ('observed', 'adjusted', 'residual'):
                    same('observation %d %s' % (i, key), ours[key], theirs[key])
            elif angular_in_file_units:
                factor = 1.0 / RADIANS_PER_UNIT[ours['unit']]
                for key in ('observed', 'adjusted'):
                    if not math.isclose(ours[key] * factor, theirs[key], rel_tol=1e-14):
                        self.fail('observation %d %s: %r against %r' % (i, key, ours[key],
                                                                          theirs[key]))
            if 'w' in theirs:
                same('observation %d w' % i, ours['w'], theirs['w'])
            # An uncontrolled observation's redundancy number may be left out of either.
            if theirs.get('redundancy') is not None and ours['redundancy'] is not None:
                same('observation %d redundancy' % i, ours['redundancy'], theirs['redundancy'])


def check(html_path, json_path=None):
    page = Page(html_path)
    if page.tree is not None and page.data is not None:
        page.check_self_contained()
        count = page.check_tables()
        if count == 0:
            page.fail('no figure was checked')
        if json_path:
            with open(json_path, encoding='utf-8') as stream:
                page.check_against_json(json.load(stream))
        print('%s: %d figures checked' % (os.path.basename(html_path), count))
    return page.failures


def main(arguments):
    failures = []
    with tempfile.TemporaryDirectory() as folder:
        if arguments[:1] == ['--sample']:
            subprocess.run([arguments[1], folder], check=True)
            for name in ('network', 'levelling'):
                failures += check(os.path.join(folder, name + '.html'),
                                  os.path.join(folder, name + '.json'))
        elif arguments[:1] == ['--program']:
            for network in arguments[2:]:
                stem = os.path.join(folder, os.path.basename(network))
                run = subprocess.run([arguments[1], '-q', '--html', stem + '.html', '--json',
                                      stem + '.json', network], stdout=subprocess.DEVNULL)
                if run.returncode not in (0, 1):
                    failures.append('%s: zr-adjust exited with %d' % (network, run.returncode))
                    continue
                failures += check(stem + '.html', stem + '.json')
        elif arguments:
            failures += check(*arguments[:2])
        else:
            print(__doc__)
            return 2
    for failure in failures[:50]:
        print(failure)
    print('%d failures' % len(failures) if failures else 'every check passed')
    return 1 if failures else 0


if __name__ == '__main__':
    sys.exit(main(sys.argv[1:]))

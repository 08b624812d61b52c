#!/usr/bin/env python3
"""Opens zr-adjust's HTML report in a real headless browser (Debian's chromium).

  html_report_browser.py --sample PROGRAM [--program ZR-ADJUST NETWORK] [--keep DIR]

Writes the hand-made sample pages (and, with --program, the page of a real adjustment), opens
each with #selftest so that the page checks itself (no script error, the plan and the tables
are there, sorting a column reorders its rows, the plan zooms) and writes its verdict into the
DOM, which --dump-dom returns. Then it saves a screenshot and a printed PDF of each page and
checks that they are real: a PNG, and a PDF of several pages. Exit status 0 when all passes,
1 on a failure, 77 when chromium is not installed (the test is then skipped, and says why).
"""

import os
import re
import shutil
import subprocess
import sys
import tempfile

# Nothing of the browser's own may reach the network or keep state between runs.
BROWSER_FLAGS = ['--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
                 '--disable-background-networking', '--disable-component-update', '--disable-sync',
                 '--hide-scrollbars']


def find_browser():
    for candidate in ('/usr/bin/chromium', shutil.which('chromium') or ''):
        if candidate and os.access(candidate, os.X_OK):
            return candidate
    return None


def run_browser(browser, profile, arguments):
    command = [browser] + BROWSER_FLAGS + ['--user-data-dir=' + profile] + arguments
    return subprocess.run(command, capture_output=True, text=True, timeout=180)


def check_page(browser, html, folder):
    failures = []
    name = os.path.splitext(os.path.basename(html))[0]
    url = 'file://' + os.path.abspath(html)
    with tempfile.TemporaryDirectory() as profile:
        dom = run_browser(browser, profile, ['--virtual-time-budget=20000', '--dump-dom',
                                             url + '#selftest'])
        verdict = re.search(r'<pre id="selftest-verdict">(.*?)</pre>', dom.stdout, re.S)
        if not verdict:
            failures.append('%s: the self-test wrote no verdict (did the script run?)\n%s' %
                            (name, dom.stderr[-2000:]))
        elif not verdict.group(1).startswith('selftest: PASS'):
            failures.append('%s: %s' % (name, verdict.group(1)))
        else:
            print('%s: %s' % (name, verdict.group(1)))
    screenshot = os.path.join(folder, name + '.png')
    pdf = os.path.join(folder, name + '.pdf')
    with tempfile.TemporaryDirectory() as profile:
        run_browser(browser, profile, ['--window-size=1280,1600', '--screenshot=' + screenshot, url])
    with tempfile.TemporaryDirectory() as profile:
        run_browser(browser, profile, ['--no-pdf-header-footer', '--print-to-pdf=' + pdf, url])
    if not os.path.exists(screenshot) or open(screenshot, 'rb').read(8) != b'\x89PNG\r\n\x1a\n':
        failures.append('%s: no screenshot' % name)
    if not os.path.exists(pdf):
        failures.append('%s: no PDF' % name)
    else:
        data = open(pdf, 'rb').read()
        pages = len(re.findall(rb'/Type\s*/Page\b', data))
        if not data.startswith(b'%PDF') or pages < 2:
            failures.append('%s: the printed PDF has %d pages' % (name, pages))
        else:
            print('%s: screenshot %s, PDF of %d pages %s' % (name, screenshot, pages, pdf))
    return failures


def main(arguments):
    options = {}
    while arguments:
        flag = arguments.pop(0)
        count = 2 if flag == '--program' else 1
        options[flag] = arguments[:count]
        del arguments[:count]
    browser = find_browser()
    if browser is None:
        print('SKIPPED: chromium is not installed, so the page cannot be opened in a browser '
              '(scripts/setup.sh installs it)')
        return 77
    folder = options.get('--keep', [None])[0] or tempfile.mkdtemp()
    os.makedirs(folder, exist_ok=True)
    pages = []
    if '--sample' in options:
        subprocess.run([options['--sample'][0], folder], check=True)
        pages += [os.path.join(folder, 'network.html'), os.path.join(folder, 'levelling.html')]
    if '--program' in options:
        program, network = options['--program']
        page = os.path.join(folder, os.path.splitext(os.path.basename(network))[0] + '.html')
        subprocess.run([program, '-q', '--html', page, network], stdout=subprocess.DEVNULL)
        pages.append(page)
    failures = []
    for page in pages:
        failures += check_page(browser, page, folder)
    for failure in failures:
        print(failure)
    print('%d pages passed, %d failed' % (len(pages) - len({f.split(':')[0] for f in failures}),
                                          len({f.split(':')[0] for f in failures})))
    return 1 if failures else 0


if __name__ == '__main__':
    sys.exit(main(sys.argv[1:]))

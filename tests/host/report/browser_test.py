# SPDX-FileCopyrightText: 2026 The Ullage authors
# SPDX-License-Identifier: Apache-2.0
"""The report in headless Chromium, wide and narrow, light and dark: no errors on the console, links lead to their
sections, text is there to be found, nothing is cut off, what scrolls shows it, and no script runs. Usage: browser_test.py PROGRAM; skipped without Chromium."""

import html
import json
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

import runs

PROGRAM = "ullage"
BROWSER = shutil.which("chromium") or shutil.which("chromium-browser") or shutil.which("google-chrome")
FLAGS = ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
         "--disable-background-networking", "--disable-component-update", "--disable-sync", "--enable-logging=stderr",
         "--virtual-time-budget=5000", "--window-size=1400,1000"]

# Holds the page at any width; windows themselves are never narrower than 500 pixels.
FRAME = """<!DOCTYPE html><html lang="en"><title></title><script>
addEventListener('message', message => { document.title = message.data; });
</script><iframe src="%s" style="width: %dpx; height: 900px; border: 0"></iframe></html>"""

# Stands at the end of a copy of the page, looks at the page in place of a reader, and leaves what it found as text.
PROBE = """<script>
addEventListener('load', () => {
    const faults = [];
    if (document.documentElement.scrollWidth > innerWidth) faults.push('the page is wider than the window');
    for (const link of document.querySelectorAll('a')) {
        link.click();
        const target = document.querySelector(link.getAttribute('href'));
        if (location.hash != link.getAttribute('href')) faults.push('dead link ' + link.href);
        if (Math.abs(target.getBoundingClientRect().top) > innerHeight) faults.push('no jump to ' + link.href);
    }
    for (const folded of document.querySelectorAll('details')) folded.open = true;
    for (const part of document.querySelectorAll('main *, header *')) {
        if (part.closest('svg') || part.scrollWidth <= part.clientWidth + 1) continue;
        const style = getComputedStyle(part);
        if (style.display == 'inline') continue;
        if (!part.classList.contains('scroll') || style.overflowX != 'auto') faults.push('cut off: ' + part.outerHTML.slice(0, 80));
        if (!style.backgroundImage.includes('gradient')) faults.push('no sign that it scrolls: ' + part.ariaLabel);
    }
    for (const part of document.querySelectorAll('p, th, td, figcaption, h1, h3, li')) {
        const box = part.getBoundingClientRect();
        if (!part.closest('.scroll') && (box.left < 0 || box.right > innerWidth)) faults.push('beside the window: ' + part.textContent.slice(0, 60));
    }
    for (const picture of document.querySelectorAll('svg[role=img]')) {
        const frame = picture.getBoundingClientRect();
        if (frame.width < 100 || frame.height < 50) faults.push('no room for ' + picture.getAttribute('aria-label'));
        for (const part of picture.querySelectorAll('text, rect, polyline')) {
            const box = part.getBoundingClientRect();
            if (box.left < frame.left - 1 || box.right > frame.right + 1 || box.top < frame.top - 1 ||
                box.bottom > frame.bottom + 1) {
                faults.push('cut off: ' + part.tagName + ' ' + part.textContent + ' of ' +
                            picture.getAttribute('aria-label').slice(0, 60));
            }
        }
        const texts = [...picture.querySelectorAll('text:not([transform])')].map(t => t.getBoundingClientRect());
        for (let i = 0; i < texts.length; ++i) for (let j = 0; j < i; ++j) {
            if (texts[i].left < texts[j].right - 1 && texts[j].left < texts[i].right - 1 &&
                texts[i].top < texts[j].bottom - 3 && texts[j].top < texts[i].bottom - 3) {
                faults.push('texts cross in ' + picture.getAttribute('aria-label').slice(0, 60));
            }
        }
    }
    const luminance = color => {
        const [r, g, b] = color.match(/[\\d.]+/g).map(x => (x /= 255) <= 0.03928 ? x / 12.92 : ((x + 0.055) / 1.055) ** 2.4);
        return 0.2126 * r + 0.7152 * g + 0.0722 * b;
    };
    const back = luminance(getComputedStyle(document.body).backgroundColor);
    for (const what of ['p', 'figcaption', 'a', 'caption', 'td', 'svg text']) {
        const part = document.querySelector(what);
        if (!part) continue;
        const style = getComputedStyle(part);
        const front = luminance(what == 'svg text' ? style.fill : style.color);
        if ((Math.max(front, back) + 0.05) / (Math.min(front, back) + 0.05) < 4.5) faults.push('too pale: ' + what);
    }
    parent.postMessage(JSON.stringify({faults: faults, dark: back < 0.2, width: innerWidth,
        found: ['How to reproduce it', 'R-hat'].filter(text => window.find(text)).length}), '*');
});
</script>"""


@unittest.skipUnless(BROWSER, "no Chromium here")
class Browser(unittest.TestCase):
    maxDiff = 4000

    def look(self, folder, page, width, dark):
        frame = folder / "frame.html"
        frame.write_text(FRAME % (page, width), encoding="utf-8")
        with tempfile.TemporaryDirectory() as profile:
            done = subprocess.run(
                [BROWSER, *FLAGS, f"--user-data-dir={profile}",
                 f"--blink-settings=preferredColorScheme={0 if dark else 1}", "--dump-dom", frame.as_uri()],
                capture_output=True, text=True, encoding="utf-8", timeout=90, check=True)
        console = [line for line in done.stderr.splitlines() if "CONSOLE" in line]
        return console, json.loads(html.unescape(re.search("<title>(.*?)</title>", done.stdout, re.S)[1]))

    def test_pages(self):
        with tempfile.TemporaryDirectory() as name:
            folder = pathlib.Path(name)
            for run, width, dark in [("odd", 1280, False), ("odd", 400, True), ("wide", 400, False),
                                     ("wide", 1280, True), ("once", 400, False), ("complete", 400, False)]:
                with self.subTest(run=run, width=width, dark=dark):
                    report = folder / run / "report.html"
                    if not report.exists():
                        runs.run(PROGRAM, folder, run)
                    page = f"{run}.html"
                    text = report.read_text(encoding="utf-8")
                    probed = re.sub(r'<meta http-equiv="Content-Security-Policy"[^>]*>', "", text)
                    self.assertNotEqual(probed, text)
                    (folder / page).write_text(probed.replace("</body>", PROBE + "</body>"), encoding="utf-8")
                    console, seen = self.look(folder, page, width, dark)
                    self.assertEqual(console, [])
                    self.assertEqual(seen, {"faults": [], "dark": dark, "width": width, "found": 2})

    def test_no_script_runs_and_nothing_is_loaded(self):
        with tempfile.TemporaryDirectory() as name:
            folder = pathlib.Path(name)
            text = runs.run(PROGRAM, folder, "once").read_text(encoding="utf-8")
            (folder / "picture.svg").write_text('<svg xmlns="http://www.w3.org/2000/svg"/>', encoding="utf-8")
            attack = ("<script>parent.postMessage('a script ran', '*')</script><img src=x onerror=\""
                      "parent.postMessage('a handler ran', '*')\"><img src=picture.svg onload=\"\">")
            (folder / "page.html").write_text(text.replace("</body>", attack + "</body>"), encoding="utf-8")
            frame = (folder / "frame.html")
            frame.write_text(FRAME % ("page.html", 800), encoding="utf-8")
            with tempfile.TemporaryDirectory() as profile:
                done = subprocess.run([BROWSER, *FLAGS, f"--user-data-dir={profile}", "--dump-dom", frame.as_uri()],
                                      capture_output=True, text=True, encoding="utf-8", timeout=90, check=True)
            self.assertIn("<title></title>", done.stdout)
            for refused in ["inline script", "inline event handler", "picture.svg"]:
                self.assertTrue(any(refused in line and "Content Security Policy" in line
                                    for line in done.stderr.splitlines()), refused)


if __name__ == "__main__":
    PROGRAM = sys.argv.pop(1)
    if not BROWSER:
        print("SKIPPED: there is no Chromium on this machine; apt-get install chromium")
        sys.exit(77)
    unittest.main()

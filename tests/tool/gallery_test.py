"""The gallery of `orv demo` in a browser without a window: it opens without a network, a click shows before and after."""

import html
import json
import re
import subprocess
import unittest

from orv_files import FileTest, has, plain_build

BROWSER = next((name for name in ("chromium", "chromium-browser", "google-chrome") if has(name)), None)

# Runs in the page when all is loaded, and leaves what it finds where the test can read it.
LOOK = """<script>
addEventListener('load', async () => {
  const found = {};
  const cards = [...document.querySelectorAll('article')];
  found.cards = cards.length;
  found.broken = [...document.images].filter(image => image.naturalWidth === 0).map(image => image.src);
  const card = cards.find(each => each.querySelector('b').textContent === 'convolve');
  card.click();
  const full = document.getElementById('full');
  const pictures = [...full.querySelectorAll('img')];
  while (!pictures.every(image => image.complete)) await new Promise(done => setTimeout(done, 50));
  found.opened = full.open;
  found.sizes = pictures.map(image => [image.naturalWidth, image.clientWidth, image.getBoundingClientRect().top]);
  found.command = full.textContent.includes('orv convolve');
  full.click();
  found.closed = !full.open;
  const find = document.getElementById('find');
  find.value = 'error_diff';
  find.dispatchEvent(new Event('input'));
  found.shown = cards.filter(each => !each.hidden).map(each => each.querySelector('b').textContent);
  found.elsewhere = performance.getEntriesByType('resource').filter(e => !e.name.startsWith('file:')).map(e => e.name);
  document.body.dataset.found = JSON.stringify(found);
});
</script>"""


@plain_build
@unittest.skipUnless(BROWSER, "no chromium is installed: the gallery is not looked at in a browser")
class Gallery(FileTest):
    def browse(self, *words):
        return subprocess.run([BROWSER, "--headless", "--no-sandbox", "--disable-gpu", "--window-size=1400,900",
                               f"--user-data-dir={self.path('profile')}", "--virtual-time-budget=20000", *words],
                              capture_output=True, text=True, timeout=120)

    def test_cards_pictures_click_and_search(self):
        self.orv("demo", "shown")
        page = self.folder / "shown" / "index.html"
        # Pictures that are out of sight load too, so that none can be missing.
        page.write_text(page.read_text().replace('loading="lazy"', "").replace("</html>", LOOK + "</html>"))
        told = self.browse("--dump-dom", f"file://{page}")
        match = re.search(r'data-found="([^"]*)"', told.stdout)
        self.assertTrue(match, told.stderr[-500:])
        found = json.loads(html.unescape(match[1]))
        self.assertEqual(found["cards"], len(json.loads(self.orv("list", "--json").stdout)))
        self.assertEqual(found["broken"], [])
        self.assertTrue(found["opened"] and found["closed"] and found["command"])
        # Before and after, at full size, beside each other.
        self.assertEqual([size[:2] for size in found["sizes"]], [[480, 480]] * 2)
        self.assertEqual(found["sizes"][0][2], found["sizes"][1][2])
        self.assertEqual(found["shown"], ["error-diffusion"])
        self.assertEqual(found["elsewhere"], [])


if __name__ == "__main__":
    unittest.main()

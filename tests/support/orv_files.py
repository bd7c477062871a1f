"""What the tests of the tool and of files share: running orv, a folder that goes away, plain PNM files."""

import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

ORV = os.environ["ORV"]
# Sanitized programs take more time and memory, and serve none but sanitized ones.
plain_build = unittest.skipIf(os.environ.get("ORV_SANITIZE"), "the build is sanitized")


def orv(*words, status=0, folder=None, **more):
    """Runs orv; fails where it ends with another status than wanted. Gives standard output."""
    run = subprocess.run([ORV, *map(str, words)], capture_output=True, cwd=folder, timeout=120, **more)
    assert run.returncode == status, f"orv {words}: status {run.returncode}: {run.stderr.decode(errors='replace')}"
    return run


def has(program):
    return shutil.which(program) is not None


class FileTest(unittest.TestCase):
    """A test in a folder of its own."""

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="orv-test-"))
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)

    def path(self, name):
        return str(self.folder / name)

    def orv(self, *words, status=0, **more):
        return orv(*words, status=status, folder=self.folder, **more)

    def refused(self, *words, status=1, says=(), output="out.png"):
        """The run fails with one line that says certain things, and leaves no output and no temporary file."""
        before = set(os.listdir(self.folder))
        run = self.orv(*words, status=status)
        text = run.stderr.decode(errors="replace")
        self.assertEqual(text.count("\n"), 1, text)
        self.assertTrue(text.startswith("orv: "), text)
        for part in says:
            self.assertIn(part, text)
        self.assertFalse((self.folder / output).exists(), output)
        self.assertEqual(set(os.listdir(self.folder)), before)
        return text

    def ppm(self, name, width, height, samples, most=255):
        """A PPM (three samples a pixel) or PGM (one)."""
        bands = len(samples) // (width * height)
        kind = {1: 5, 3: 6}[bands]
        size = 2 if most > 255 else 1
        data = b"".join(int(v).to_bytes(size, "big") for v in samples)
        (self.folder / name).write_bytes(f"P{kind}\n{width} {height}\n{most}\n".encode() + data)

    def samples(self, name):
        """Width, height, bands and samples of a picture, by way of a PGM or PPM that orv writes."""
        self.orv("copy", name, "-o", "looked-at.pnm")
        data = (self.folder / "looked-at.pnm").read_bytes()
        return parse_pnm(data)


def parse_pnm(data):
    words, at = [], 0
    while len(words) < (3 if data[:2] == b"P4" else 4):
        end = at
        while not data[end:end + 1].isspace():
            end += 1
        words.append(data[at:end])
        at = end + 1
    width, height = int(words[1]), int(words[2])
    body = data[at:]
    if data[:2] == b"P4":
        row = (width + 7) // 8
        return width, height, 1, [1 - (body[y * row + x // 8] >> (7 - x % 8) & 1)
                                  for y in range(height) for x in range(width)]
    bands = 3 if data[:2] == b"P6" else 1
    if int(words[3]) > 255:
        return width, height, bands, [int.from_bytes(body[i:i + 2], "big") for i in range(0, len(body), 2)]
    return width, height, bands, list(body)

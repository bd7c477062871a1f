"""Pictures of hundreds of megabytes, in no more memory than the images themselves and 64 MiB."""

import os
import subprocess
import unittest

from orv_files import ORV, FileTest, plain_build

MARGIN = 64 * 2**20


@plain_build
@unittest.skipIf(os.environ.get("ORV_SKIP_LARGE"), "ORV_SKIP_LARGE is set")
class Large(FileTest):
    def peak(self, *words):
        """Runs orv; the most memory that it held, in bytes."""
        process = subprocess.Popen([ORV, *words], cwd=self.folder)
        _, status, used = os.wait4(process.pid, 0)
        process.returncode = status
        self.assertEqual(status, 0, words)
        return used.ru_maxrss * 1024

    def test_a_plate_of_bits(self):
        side = 30000
        image = side * -(-side // 512) * 64
        self.assertLess(self.peak("set-value", "-o", "a.tif", "--size", f"{side}x{side}", "--type", "bit", "--bands", "1",
                                  "--value", "1"), image + MARGIN)
        self.assertLess(self.peak("not", "a.tif", "-o", "b.tif"), 2 * image + MARGIN)
        self.assertIn(b"30000 x 30000, 1 band, bit", self.orv("info", "b.tif").stdout)
        for layout in (["none"], ["lzw"]):
            self.assertLess(self.peak("copy", "a.tif", "-o", "c.tif", "--compression", *layout), 2 * image + MARGIN)
            self.assertLess(self.peak("erode", "c.tif", "-o", "d.tif", "--element", "rect:2"), 2 * image + MARGIN)

    def test_a_picture_of_bytes(self):
        side = 20000
        image = side * -(-side // 64) * 64
        self.assertLess(self.peak("set-value", "-o", "a.png", "--size", f"{side}x{side}", "--type", "byte", "--bands", "1",
                                  "--value", "77", "--compression", "1"), image + MARGIN)
        self.assertLess(self.peak("add-const", "a.png", "-o", "b.png", "--value", "3", "--compression", "1"),
                        2 * image + MARGIN)
        self.assertIn(b"20000 x 20000, 1 band, byte", self.orv("info", "b.png").stdout)


if __name__ == "__main__":
    unittest.main()

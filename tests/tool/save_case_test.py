"""--save-case: the calls that a run makes, written down, give the same bytes when they are replayed."""

import json
import os
import shlex
import shutil
import subprocess
import unittest

from orv_files import ORV, FileTest

ORVREPLAY = os.environ["ORVREPLAY"]


class SaveCase(FileTest):
    def replay(self, name, status=0):
        """Replays a case file; gives the number of its cases."""
        run = subprocess.run([ORVREPLAY, "--quiet", self.path(name)], capture_output=True, text=True)
        self.assertEqual(run.returncode, status, run.stdout[-500:] + run.stderr[-500:])
        return int(run.stdout.split()[-4])

    def test_every_example_replays(self):
        self.orv("chart", "-o", "chart.png", "--size", "168x126")
        self.orv("demo", "shown", "--input", "chart.png")
        # Examples wrote over it, and the demo took what they wrote away.
        shutil.copy(self.path("chart.png"), self.path("shown/inputs/photo.png"))
        for name in ("page.tif", "plate.tif"):
            shutil.copy(self.path("shown/inputs/scan.tif"), self.path(f"shown/inputs/{name}"))
        rows = json.loads(self.orv("list", "--json").stdout)
        for row in rows:
            with self.subTest(row["name"]):
                case = self.path(row["name"] + ".case")
                line = shlex.quote(ORV) + row["example"].removeprefix("orv") + " --save-case " + shlex.quote(case)
                run = subprocess.run(["sh", "-c", line], cwd=self.folder / "shown" / "inputs", capture_output=True)
                self.assertEqual(run.returncode, 0, run.stderr)
                self.assertGreater(self.replay(case), 0)
                os.remove(case)

    def test_a_pipe_with_fused_steps(self):
        self.ppm("a.pgm", 3, 1, [1, 100, 200])
        self.ppm("b.pgm", 3, 1, [3, 1, 2])
        self.orv("pipe", "a.pgm", "b.pgm", "-o", "c.pgm", "--save-case", "c.case", "--", "multiply", "@1", "@2", ":",
                 "add", "@2")
        text = (self.folder / "c.case").read_text()
        self.assertIn("chain earlier multiply8", text)
        self.assertEqual(self.replay("c.case"), 1)

    def test_parts_batches_and_warnings(self):
        self.ppm("a.pgm", 4, 3, range(12))
        self.ppm("zero.pgm", 4, 3, [0] * 12)
        self.orv("divide", "a.pgm", "zero.pgm", "-o", "c.pgm", "--roi", "1,1,2,1", "--save-case", "c.case")
        text = (self.folder / "c.case").read_text()
        self.assertIn("roi=1,1,2,1", text)
        self.assertIn("error di-171", text)
        self.assertEqual(self.replay("c.case"), 1)
        self.orv("not", "a.pgm", "zero.pgm", "-o", "out/", "--jobs", "2", "--save-case", "d.case")
        self.assertEqual(self.replay("d.case"), 2)

    def test_another_sample_fails(self):
        self.ppm("a.pgm", 3, 1, [1, 100, 200])
        self.orv("not", "a.pgm", "-o", "b.pgm", "--save-case", "b.case")
        text = (self.folder / "b.case").read_text()
        self.assertIn("254 155 55", text)
        (self.folder / "b.case").write_text(text.replace("254 155 55", "254 155 56"))
        self.replay("b.case", status=1)

    def test_a_refused_run_leaves_no_file(self):
        self.ppm("a.pgm", 3, 1, [1, 100, 200])
        self.refused("convolve", "a.pgm", "-o", "out.png", "--kernel", "box:9", "--save-case", "x.case", status=2, says=["9 x 9"])
        self.refused("not", "a.pgm", "-o", "out.pgm", "--save-case", "no/x.case", says=["no/x.case"], output="x")


if __name__ == "__main__":
    unittest.main()

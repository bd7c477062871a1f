"""The commands of the tutorial, run as they are written, from an empty folder on."""

import os
import pathlib
import shlex
import subprocess
import unittest

from orv_files import ORV, FileTest, has

STALE = "stale: write it anew with scripts/pages.sh"
SOURCE = pathlib.Path(os.environ["ORV_SOURCE_DIR"])


def commands():
    lines = (SOURCE / "docs" / "tutorial.md").read_text().splitlines()
    return [line.strip() for line in lines if line.startswith("    orv ")]


class Tutorial(FileTest):
    def test_every_command(self):
        for command in commands():
            with self.subTest(command):
                line = shlex.quote(ORV) + command.removeprefix("orv")
                run = subprocess.run(["sh", "-c", line], cwd=self.folder, capture_output=True, text=True)
                self.assertEqual((run.returncode, run.stderr.replace("orv: note", "").count("orv: ")), (0, 0), run.stderr)
        self.assertEqual(len(os.listdir(self.folder / "out")), 3)
        info = self.orv("info", "plate.tif").stdout
        self.assertIn(b"2560 x 1920, 1 band, bit", info)
        self.assertIn(b"2400 dpi", info)


class Pages(FileTest):
    def test_the_page_of_operations_is_fresh(self):
        page = (SOURCE / "docs" / "operations.md").read_bytes()
        self.assertEqual(page, self.orv("help", "--markdown").stdout, STALE)

    @unittest.skipUnless(has("clang-format"), "clang-format is not installed: the C++ functions are not compared")
    def test_the_typed_functions_are_fresh(self):
        run = subprocess.run([SOURCE / "scripts" / "generate_api.py", ORV, "--check"], capture_output=True, text=True)
        self.assertEqual(run.returncode, 0, run.stderr)

    def test_the_completion_is_a_shell_script(self):
        script = self.orv("help", "--completion").stdout
        self.assertEqual(subprocess.run(["bash", "-n"], input=script).returncode, 0)
        ask = script + b"\nCOMP_WORDS=(orv add-con); COMP_CWORD=1; _orv; echo ${COMPREPLY[@]}\n"
        self.assertEqual(subprocess.run(["bash"], input=ask, capture_output=True).stdout, b"add-const\n")

    def test_the_manual_names_every_operation(self):
        page = self.orv("help", "--man").stdout.decode()
        self.assertTrue(page.startswith(".TH ORV 1"))
        self.assertIn(".B add\\-const", page)


if __name__ == "__main__":
    unittest.main()

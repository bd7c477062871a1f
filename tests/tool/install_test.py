"""An installed tree serves programs from any place: by CMake, by pkg-config, and as it is."""

import os
import pathlib
import shutil
import subprocess
import unittest

from orv_files import FileTest, has, plain_build

SOURCE = pathlib.Path(os.environ["ORV_SOURCE_DIR"])
BUILD = os.environ["ORV_BINARY_DIR"]


@plain_build
class Installed(FileTest):
    def setUp(self):
        super().setUp()
        env = dict(os.environ, DESTDIR=self.path("stage"))
        subprocess.run(["cmake", "--install", BUILD, "--prefix", "/usr"], check=True, capture_output=True, env=env)
        # Moved after it was installed.
        self.prefix = self.folder / "moved"
        shutil.move(self.folder / "stage" / "usr", self.prefix)
        shutil.copytree(SOURCE / "examples" / "installed", self.folder / "project")
        self.orv("chart", "-o", "in.png", "--size", "40x30")
        self.orv("convolve", "in.png", "-o", "want.png", "--kernel", "gaussian:5:1.0")

    def makes_the_same(self, program):
        subprocess.run([program, "in.png", "out.png"], cwd=self.folder, check=True)
        self.orv("compare", "out.png", "want.png")

    def test_by_cmake(self):
        run = ["cmake", "-S", "project", "-B", "made", f"-DCMAKE_PREFIX_PATH={self.prefix}"]
        subprocess.run(run, cwd=self.folder, check=True, capture_output=True)
        subprocess.run(["cmake", "--build", "made"], cwd=self.folder, check=True, capture_output=True)
        self.makes_the_same(self.path("made/soften"))

    @unittest.skipUnless(has("pkg-config") and has("make"), "pkg-config or make is not installed")
    def test_by_pkg_config(self):
        config = next(self.prefix.rglob("orv.pc")).parent
        subprocess.run(["make", "-C", "project", f"PKG_CONFIG_PATH={config}"], cwd=self.folder, check=True,
                       capture_output=True)
        self.makes_the_same(self.path("project/soften"))

    def test_the_tool_runs_from_there_and_through_a_link(self):
        os.symlink(self.prefix / "bin" / "orv", self.folder / "linked")
        for program in (self.prefix / "bin" / "orv", self.folder / "linked"):
            told = subprocess.run([program, "version"], capture_output=True, check=True).stdout.decode()
            self.assertIn(str(self.prefix), told)
        self.assertTrue(next(self.prefix.rglob("orv.1")).read_text().startswith(".TH"))
        self.assertTrue((self.prefix / "share/bash-completion/completions/orv").exists())


if __name__ == "__main__":
    unittest.main()

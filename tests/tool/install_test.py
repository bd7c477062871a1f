"""An installed tree serves programs from any place: by CMake, by pkg-config, and as it is."""

import os
import pathlib
import re
import shutil
import subprocess
import sys
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

    def test_a_foreign_program_opens_the_module_by_its_bare_name(self):
        program = """if True:
            import ctypes
            module = ctypes.CDLL("orvcomputememory.so.1")
            module.OrvCreateComputeType.restype = ctypes.c_void_p
            assert module.OrvCreateComputeType()
            print(*{line.split()[-1] for line in open("/proc/self/maps") if "orvcomputememory" in line})"""
        told = subprocess.run([self.prefix / "bin" / "orv", "version"], capture_output=True, check=True).stdout.decode()
        chosen = re.search(r"device build: .* \((.*)\)", told)[1]
        folder = next(self.prefix.rglob("liborv.so.1")).parent
        run = subprocess.run([sys.executable, "-c", program], capture_output=True, check=True,
                             env=dict(os.environ, LD_LIBRARY_PATH=str(folder)))
        # One build alone, and the loader's choice is the host's own.
        self.assertEqual(run.stdout.decode().split(), [chosen])


if __name__ == "__main__":
    unittest.main()

"""Builds the native part with CMake and packs it with the library and the builds of the compute device.

    pip install --no-build-isolation ./python

ORV_BUILD_DIR names a finished build of the project to take the libraries from, instead of building anew.
"""

import os
import shutil
import subprocess
import sys
from pathlib import Path

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

HERE = Path(__file__).resolve().parent


class CMakeBuild(build_ext):
    def run(self):
        build = Path(os.environ["ORV_BUILD_DIR"]) if "ORV_BUILD_DIR" in os.environ else self.build_anew()
        target = Path(self.build_lib) / "orv"
        if self.inplace:
            target = HERE / "orv"
        target.mkdir(parents=True, exist_ok=True)
        for native in (build / "python" / "orv").glob("_native*.so"):
            shutil.copy2(native, target)
        for library in [build / "lib" / "liborv.so.1", *(build / "lib").rglob("orvcomputememory.so.1")]:
            place = target / "lib" / library.relative_to(build / "lib")
            place.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy2(library, place)

    def build_anew(self):
        build = Path(self.build_temp).resolve() / "orv"
        settings = ["-DCMAKE_BUILD_TYPE=Release", "-DORV_TESTS=OFF", "-DORV_PYTHON=ON",
                    f"-DPython3_EXECUTABLE={sys.executable}"]
        subprocess.run(["cmake", "-S", str(HERE.parent), "-B", str(build), "-G", "Ninja", *settings], check=True)
        subprocess.run(["cmake", "--build", str(build), "--target", "orv_native", "orv_modules"], check=True)
        return build


setup(
    name="orv",
    version="0.1.0",
    description="Exact pixel operations on numpy arrays",
    packages=["orv"],
    package_data={"orv": ["py.typed", "*.pyi"]},
    ext_modules=[Extension("orv._native", [])],
    cmdclass={"build_ext": CMakeBuild},
    install_requires=["numpy"],
    python_requires=">=3.9",
    zip_safe=False,
)

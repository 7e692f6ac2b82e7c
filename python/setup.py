"""Has CMake build the module in the source tree that this folder is a part of."""

import pathlib
import re
import shutil
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

PYTHON = pathlib.Path(__file__).resolve().parent
ROOT = PYTHON.parent
OFF = ["BUILD_SHARED_LIBS", "TAVOLIN_BUILD_TESTS", "TAVOLIN_BUILD_EXAMPLES", "TAVOLIN_BUILD_PLAYER",
       "TAVOLIN_BUILD_BENCH"]


class CMakeBuild(build_ext):
    def build_extension(self, extension):
        build = pathlib.Path(self.build_temp).resolve() / "cmake"
        subprocess.run(["cmake", "-S", ROOT, "-B", build, "-DCMAKE_BUILD_TYPE=Release", "-DTAVOLIN_BUILD_PYTHON=ON",
                        f"-DPython3_EXECUTABLE={sys.executable}", *(f"-D{option}=OFF" for option in OFF)], check=True)
        subprocess.run(["cmake", "--build", build, "--target", "tavolin-python", "--parallel"], check=True)
        (module,) = (build / "python" / "tavolin").glob("_tavolin*.so")
        target = pathlib.Path(self.get_ext_fullpath(extension.name))
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(module, target)


def version():
    return re.search(r"^project\(Tavolin VERSION ([0-9.]+)", (ROOT / "CMakeLists.txt").read_text(), re.M)[1]


setup(version=version(), ext_modules=[Extension("tavolin._tavolin", sources=[])], cmdclass={"build_ext": CMakeBuild})

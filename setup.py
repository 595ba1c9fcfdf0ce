"""Builds the Python module `borvane` with the project's CMake and packs it with the library."""
import pathlib
import shutil
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext


class CMakeBuild(build_ext):
    def build_extension(self, ext):
        source = pathlib.Path(__file__).parent.resolve()
        build = pathlib.Path(self.build_temp).resolve() / "cmake"
        subprocess.run(
            ["cmake", "-S", str(source), "-B", str(build), "-G", "Ninja",
             "-DCMAKE_BUILD_TYPE=Release", "-DBORVANE_BUILD_TESTS=OFF",
             f"-DPython_EXECUTABLE={sys.executable}",
             # The module finds the library beside itself once installed.
             "-DCMAKE_BUILD_WITH_INSTALL_RPATH=ON"],
            check=True)
        subprocess.run(["cmake", "--build", str(build), "--target", "borvane_python",
                        "borvane_helpd"], check=True)
        target = pathlib.Path(self.get_ext_fullpath(ext.name)).resolve()
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy2(next((build / "python").glob("borvane*.so")), target)
        shutil.copy2(build / "libborvane.so.1", target.parent / "libborvane.so.1")
        # The help server, which the library looks for beside itself.
        shutil.copy2(build / "borvane-helpd", target.parent / "borvane-helpd")


setup(packages=[], py_modules=[], ext_modules=[Extension("borvane", sources=[])],
      cmdclass={"build_ext": CMakeBuild},
      zip_safe=False)

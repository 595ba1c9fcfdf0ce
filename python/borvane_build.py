"""pip's build backend for the module `borvane` (PEP 517 and PEP 660), in the standard library
alone: the project's CMake builds the module and the library, and this packs both into a
wheel. So `pip install .` needs no setuptools and no wheel package, only what the C++ build
needs: a compiler, CMake, pybind11 (Debian's pybind11-dev, or the pybind11 package, which a
build with its own environment then asks for) and this Python's headers.
"""
import base64
import hashlib
import os
import pathlib
import re
import shutil
import stat
import subprocess
import sys
import sysconfig
import zipfile

SOURCE = pathlib.Path(__file__).resolve().parent.parent


class BuildError(Exception):
    """What the build lacks, in one line."""


def _project():
    """The [project] fields of pyproject.toml that the wheel's metadata needs."""
    text = (SOURCE / "pyproject.toml").read_text(encoding="utf-8")
    section = text.split("[project]", 1)[1].split("\n[", 1)[0]
    fields = dict(re.findall(r'^([\w-]+)\s*=\s*"([^"]*)"', section, re.M))
    return fields["name"], fields["version"], fields.get("description", ""), fields.get(
        "requires-python", "")


def _pybind11_dir():
    """The CMake folder of a pybind11 package in this Python, or None."""
    try:
        import pybind11
    except ImportError:
        return None
    return pybind11.get_cmake_dir()


def _system_pybind11():
    return any(pathlib.Path(p, "pybind11Config.cmake").exists() for p in (
        "/usr/lib/cmake/pybind11", "/usr/share/cmake/pybind11", "/usr/local/share/cmake/pybind11",
        "/usr/local/lib/cmake/pybind11"))


def get_requires_for_build_wheel(config_settings=None):
    # Only what is not there already: a machine with Debian's packages builds offline.
    needs = []
    if not _system_pybind11() and _pybind11_dir() is None:
        needs.append("pybind11>=2.10")
    if shutil.which("cmake") is None:
        needs.append("cmake>=3.25")
    return needs


get_requires_for_build_editable = get_requires_for_build_wheel


def get_requires_for_build_sdist(config_settings=None):
    return []


def _tag():
    version = f"{sys.version_info.major}{sys.version_info.minor}"
    platform = sysconfig.get_platform().replace("-", "_").replace(".", "_")
    return f"cp{version}-cp{version}{getattr(sys, 'abiflags', '')}-{platform}"


def _run(command, log):
    result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    log.append(result.stdout)
    return result


def _build():
    """Builds the module for this Python: the paths of the module and of the library."""
    if shutil.which("cmake") is None:
        raise BuildError("building borvane needs CMake 3.25 or later on PATH (Debian: cmake)")
    # One build per interpreter (venvs of one share it): CMake keeps the Python it found.
    interpreter = hashlib.sha1(os.path.realpath(sys.executable).encode()).hexdigest()[:8]
    build = SOURCE / "build" / "pip" / f"{_tag()}-{interpreter}"
    configure = ["cmake", "-S", str(SOURCE), "-B", str(build), "-DCMAKE_BUILD_TYPE=Release",
                 "-DBORVANE_BUILD_TESTS=OFF", f"-DPython_EXECUTABLE={sys.executable}",
                 # The module finds the library beside itself once installed.
                 "-DCMAKE_BUILD_WITH_INSTALL_RPATH=ON"]
    if shutil.which("ninja") and not (build / "CMakeCache.txt").exists():
        configure += ["-G", "Ninja"]
    cmake_dir = _pybind11_dir()
    if cmake_dir:
        configure.append(f"-Dpybind11_DIR={cmake_dir}")
    log = []
    if _run(configure, log).returncode != 0:
        sys.stderr.write(log[-1])
        raise BuildError("CMake could not configure the build: see its output above")
    if "Python module not built" in log[-1]:
        what = "pybind11 (pip install pybind11, or Debian's pybind11-dev)"
        if cmake_dir or _system_pybind11():
            what = f"the headers of Python {sys.version.split()[0]} (Python.h)"
        raise BuildError(f"building borvane needs {what}")
    jobs = str(os.cpu_count() or 1)
    result = _run(["cmake", "--build", str(build), "--target", "borvane_python", "borvane_helpd",
                   "borvane_help_reader", "-j", jobs], log)
    if result.returncode != 0:
        sys.stderr.write(log[-1])
        raise BuildError("the C++ build failed: see the compiler's output above")
    module = next((build / "python").glob("borvane*.so"))
    return module, build / "libborvane.so.1", [build / "borvane-helpd",
                                               build / "borvane-help-reader"]


def _record_line(name, data):
    digest = base64.urlsafe_b64encode(hashlib.sha256(data).digest()).rstrip(b"=").decode()
    return f"{name},sha256={digest},{len(data)}"


def _metadata():
    name, version, summary, requires_python = _project()
    lines = ["Metadata-Version: 2.1", f"Name: {name}", f"Version: {version}"]
    if summary:
        lines.append(f"Summary: {summary}")
    if requires_python:
        lines.append(f"Requires-Python: {requires_python}")
    return name, version, "\n".join(lines) + "\n"


def prepare_metadata_for_build_wheel(metadata_directory, config_settings=None):
    name, version, metadata = _metadata()
    info = pathlib.Path(metadata_directory) / f"{name}-{version}.dist-info"
    info.mkdir(parents=True, exist_ok=True)
    (info / "METADATA").write_text(metadata, encoding="utf-8")
    return info.name


prepare_metadata_for_build_editable = prepare_metadata_for_build_wheel


def build_wheel(wheel_directory, config_settings=None, metadata_directory=None):
    try:
        module, library, programs = _build()
    except BuildError as error:
        sys.stderr.write(f"error: {error}\n")
        raise SystemExit(1) from None
    name, version, metadata = _metadata()
    tag = _tag()
    info = f"{name}-{version}.dist-info"
    files = {
        "borvane" + sysconfig.get_config_var("EXT_SUFFIX"): module.read_bytes(),
        library.name: library.read_bytes(),
        # The help server, which the library looks for beside itself, and its reader.
        **{program.name: program.read_bytes() for program in programs},
        f"{info}/METADATA": metadata.encode(),
        f"{info}/WHEEL": (f"Wheel-Version: 1.0\nGenerator: borvane_build\nRoot-Is-Purelib: false\n"
                          f"Tag: {tag}\n").encode(),
        f"{info}/top_level.txt": b"borvane\n",
    }
    record = [_record_line(path, data) for path, data in files.items()]
    record.append(f"{info}/RECORD,,")
    files[f"{info}/RECORD"] = ("\n".join(record) + "\n").encode()
    wheel = f"{name}-{version}-{tag}.whl"
    with zipfile.ZipFile(pathlib.Path(wheel_directory) / wheel, "w", zipfile.ZIP_DEFLATED) as z:
        for path, data in files.items():
            entry = zipfile.ZipInfo(path, date_time=(1980, 1, 1, 0, 0, 0))
            executable = (path.endswith(".so") or ".so." in path or
                          path in {program.name for program in programs})
            # pip sets the execute bits only for an entry that says it is a regular file.
            entry.external_attr = (stat.S_IFREG | (0o755 if executable else 0o644)) << 16
            entry.compress_type = zipfile.ZIP_DEFLATED
            z.writestr(entry, data)
    return wheel


# An editable install is a build like any other: the module is compiled code, which a change
# of source reaches only through a new build.
build_editable = build_wheel


def build_sdist(sdist_directory, config_settings=None):
    import tarfile
    name, version, _, _ = _project()
    base = f"{name}-{version}"
    listed = subprocess.run(["git", "-C", str(SOURCE), "ls-files"], stdout=subprocess.PIPE,
                            text=True, check=True).stdout.split("\n")
    archive = pathlib.Path(sdist_directory) / f"{base}.tar.gz"
    with tarfile.open(archive, "w:gz") as tar:
        for path in filter(None, listed):
            tar.add(SOURCE / path, arcname=f"{base}/{path}")
    return archive.name

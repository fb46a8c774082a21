"""Builds the Python package hxtvel from this checkout, offline, with Debian's
packages (python3-pybind11, python3-numpy, liblcms2-dev):

    /usr/bin/python3 -m venv --system-site-packages .venv
    .venv/bin/pip install --no-build-isolation ./python

The extension compiles the library's sources and the measurement import
itself (the same sources as libhxtvel.so; nothing of it is exported), on as
many processes as there are cores (NPY_NUM_BUILD_JOBS sets another number).
Objects and metadata go to a temporary folder that is removed afterwards:
the checkout is left as it was.
"""
import atexit
import glob
import os
import shutil
import tempfile

from pybind11.setup_helpers import ParallelCompile, Pybind11Extension, build_ext
from setuptools import setup

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(HERE)


def rel(*parts):
    """Paths relative to this folder, as setuptools wants them."""
    return os.path.relpath(os.path.join(ROOT, *parts), HERE)


SOURCE_DIRS = ["commonlib/liblock/source", "commonlib/libtrace/source", "libs/libcgats/source",
               "libs/libcolorconv/source", "libs/Libwedgecreate/source", "libs/libwegedivide/source"]
sources = ["src/hxtvel_module.cpp", rel("api", "hxtvel_cgats_api.cpp"),
           rel("tools", "hxtvel", "measurement_import.cpp"), rel("tools", "hxtvel", "cgats_diagnosis.cpp")]
for d in SOURCE_DIRS:
    sources += sorted(os.path.relpath(p, HERE) for p in glob.glob(os.path.join(ROOT, d, "*.cpp")))

core = Pybind11Extension(
    "hxtvel._core",
    sources,
    include_dirs=[rel("api")] + [rel(d) for d in SOURCE_DIRS] + [rel("tools", "hxtvel")],
    libraries=["lcms2"],
    cxx_std=17,
    extra_compile_args=["-fvisibility=hidden", "-O2"],
    extra_link_args=["-Wl,--exclude-libs,ALL"],
)

ParallelCompile("NPY_NUM_BUILD_JOBS").install()
# pip builds in this folder; the sources above lie outside it, so their
# objects would land beside build/ - everything goes to a scratch folder.
SCRATCH = tempfile.mkdtemp(prefix="hxtvel-build-")
atexit.register(shutil.rmtree, SCRATCH, ignore_errors=True)

setup(
    name="hxtvel",
    version="1.0.0",
    description="Colour measurements, measurement charts and colour differences on numpy arrays",
    packages=["hxtvel"],
    package_data={"hxtvel": ["py.typed", "*.pyi"]},
    ext_modules=[core],
    cmdclass={"build_ext": build_ext},
    install_requires=["numpy"],
    python_requires=">=3.9",
    zip_safe=False,
    options={"build": {"build_base": os.path.join(SCRATCH, "build")}, "egg_info": {"egg_base": SCRATCH}},
)

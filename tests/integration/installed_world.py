"""The project as a user gets it: installed below a folder, and as packages that are unpacked there."""

import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

SOURCE = pathlib.Path(__file__).parents[2]
BUILD = pathlib.Path(os.environ["QX_BUILD"])
PACKAGES = BUILD / "packages"


def output_of(*words, **options):
    """What a command that must succeed prints."""
    done = subprocess.run([*map(str, words)], capture_output=True, text=True, check=False, **options)
    if done.returncode != 0:
        raise AssertionError(f"{words}: {done.returncode}\n{done.stdout}{done.stderr}")
    return done.stdout


def packages():
    """The packages of this build by name, without version and architecture."""
    return {file.name.split("_")[0]: file for file in PACKAGES.glob("*.deb")}


class InstalledTest(unittest.TestCase):
    """A class has one folder with an installation; `install` of a subclass fills it."""

    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp(prefix="qxa-test-"))
        cls.addClassCleanup(shutil.rmtree, cls.folder, ignore_errors=True)
        cls.root = cls.folder / "root"
        cls.prefix = cls.install()
        cls.library = next(cls.prefix.rglob("libQXAPackageManagerLocal.so")).parent
        cls.environment = dict(
            os.environ,
            LC_ALL="C",
            LD_LIBRARY_PATH=str(cls.library),
            PATH=f"{cls.prefix}/bin:{cls.prefix}/sbin:{os.environ['PATH']}",
            PKG_CONFIG_PATH=str(cls.library / "pkgconfig"),
        )

    def run_in(self, folder, *words):
        return output_of(*words, env=self.environment, cwd=folder)

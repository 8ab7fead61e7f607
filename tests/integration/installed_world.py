"""The project as a user gets it: installed below a folder, and as packages that are unpacked there."""

import os
import pathlib
import platform
import re
import shutil
import subprocess
import tempfile
import unittest

SOURCE = pathlib.Path(__file__).parents[2]
BUILD = pathlib.Path(os.environ["QX_BUILD"])
PACKAGES = BUILD / "packages"
# The instruction at which a jump may arrive.
ENDBR64 = b"\xf3\x0f\x1e\xfa"
OWN_PATH = r"\$ORIGIN(/\.\./[a-z0-9_/-]+)?"


def output_of(*words, **options):
    """What a command that must succeed prints."""
    done = subprocess.run([*map(str, words)], capture_output=True, text=True, check=False, **options)
    if done.returncode != 0:
        raise AssertionError(f"{words}: {done.returncode}\n{done.stdout}{done.stderr}")
    return done.stdout


def packages():
    """The packages of this build by name, without version and architecture."""
    return {file.name.split("_")[0]: file for file in PACKAGES.glob("*.deb")}


def why_not_hardened(file):
    """What a program or library lacks of what makes defects hard to use; nothing when it is all there."""
    segments = output_of("readelf", "-lW", file)
    dynamic = output_of("readelf", "-dW", file)
    symbols = output_of("readelf", "-W", "--dyn-syms", file)
    is_program = "INTERP" in segments
    return [
        name
        for name, there in {
            "position-independent": re.search(r"Elf file type is DYN", segments)
            and (not is_program or re.search(r"FLAGS_1\).*PIE", dynamic)),
            "read-only after relocation": "GNU_RELRO" in segments,
            "bound at the start": re.search(r"FLAGS_1\).*NOW", dynamic),
            "stack without instructions": re.search(r"GNU_STACK.* RW ", segments),
            "guarded stack": "__stack_chk_fail" in symbols,
            # The compiler's own start-up code brings two. (The file's note tells of libc's code, too, which
            # some distributions build without.)
            "guarded jumps": platform.machine() != "x86_64" or file.read_bytes().count(ENDBR64) > 2,
            "no search path but its own": re.search(rf"RUNPATH\).*\[{OWN_PATH}\]", dynamic) or "PATH)" not in dynamic,
        }.items()
        if not there
    ]


class InstalledTest(unittest.TestCase):
    """A class has one folder with an installation; `install` of a subclass fills it."""

    # Whether the loader has to be told where libraries are.
    needs_library_path = False

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
            PATH=f"{cls.prefix}/bin:{cls.prefix}/sbin:{os.environ['PATH']}",
            PKG_CONFIG_PATH=str(cls.library / "pkgconfig"),
        )
        cls.environment.pop("LD_LIBRARY_PATH", None)
        if cls.needs_library_path:
            cls.environment["LD_LIBRARY_PATH"] = str(cls.library)

    def run_in(self, folder, *words):
        return output_of(*words, env=self.environment, cwd=folder)

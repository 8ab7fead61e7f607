"""A real package of this machine's Debian mirror, from the template's cache to its removal.

Where the mirror does not answer, the test ends with status 77 and the reason.
"""

import pathlib
import sys
import tempfile
import unittest

from clean_root_test import SKIPPED, SOURCES, codename, why_not
from kr_world import ENGINES, KrTest
from qxa_world import REASON

SOURCE = next((path for path in SOURCES if pathlib.Path(path).exists()), None)


class Mirror(KrTest):
    """A node with an OS template over the mirror."""

    def test_a_package_of_the_mirror_comes_is_listed_is_updated_and_goes(self):
        folder = self.folder / "source"
        folder.mkdir()
        (folder / "template.toml").write_text(
            'technology = "kr"\nkind = "os"\nname = "debian"\nversion = "1"\npackaging = "deb"\n'
            f'release = "{codename()}"\nvariant = "essential"\n\n[[repositories]]\nsources = "{SOURCE}"\n'
        )
        file = self.folder / "debian.tar.gz"
        self.qxpkg("pack", folder, file)
        self.qxa("install", file)
        self.qxa("ct", "create", 101, "--os", ".debian")

        self.qxa("install", "--ct", 101, "hello")
        self.assertIn("hello", self.names("--ct", 101, "--type", "rpm"))
        self.assertTrue((self.root(101) / "usr/bin/hello").exists())

        self.qxa("update", "--ct", 101, "hello")
        self.qxa("remove", "--ct", 101, "hello")
        self.assertNotIn("hello", self.names("--ct", 101, "--type", "rpm"))
        self.assertFalse((self.root(101) / "usr/bin/hello").exists())


if __name__ == "__main__":
    with tempfile.TemporaryDirectory() as scratch:
        reason = ENGINES or REASON or why_not(SOURCE, pathlib.Path(scratch))
    if reason is not None:
        print(f"skipped: {reason}")
        sys.exit(SKIPPED)
    unittest.main(verbosity=2)

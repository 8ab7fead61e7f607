"""Repositories that are signed: the key that a template names decides what is installed."""

import pathlib
import shutil
import tempfile
import unittest

from kr_world import ENGINES, KrTest, packages
from signing import SIGNING, SigningKey

REASON = ENGINES or SIGNING


@unittest.skipIf(REASON is not None, REASON)
class Signatures(KrTest):
    """Container 101 is made of an OS template whose repository of deb packages is signed, container 102 of one whose rpm
    packages are signed each."""

    @classmethod
    def setUpClass(cls):
        folder = pathlib.Path(tempfile.mkdtemp(prefix="qxpkg-keys-"))
        cls.addClassCleanup(shutil.rmtree, folder, ignore_errors=True)
        cls.publisher, cls.stranger = (SigningKey(folder / name) for name in ("publisher", "stranger"))
        cls.addClassCleanup(cls.publisher.close)
        cls.addClassCleanup(cls.stranger.close)

    def setUp(self):
        super().setUp()
        self.offer(packages().deb("one"), packages().rpm("qxbase", provides="/bin/sh"))
        for veid, packaging in ((101, "deb"), (102, "rpm")):
            manifest = self.template(packaging) / "template.toml"
            manifest.write_text(manifest.read_text().replace("trusted = true", 'key = "archive.asc"'))
            self.trust(self.publisher, packaging)
            self.container(veid, f"signed{packaging}")

    def template(self, packaging):
        """Folder of the OS template of a packaging, which is made the first time."""
        folder = self.node / "qx/template/kr" / f"signed{packaging}"
        if not folder.exists():
            self.os_template(folder.name, packaging, base=["one"], extra='variant = "empty"')
        return folder

    def trust(self, key, packaging="deb"):
        """Makes a key the one that the template has."""
        keys = self.template(packaging) / "keys"
        keys.mkdir(exist_ok=True)
        (keys / "archive.asc").write_text(key.public())

    def offer_signed(self, key):
        """Puts an rpm package into the repository that the key signed."""
        self.offer(packages().rpm("one"))
        for file in self.repository("rpm").glob("one-*.rpm"):
            key.sign_package(file)
        self.index("rpm")

    def assert_refused(self, *words):
        """The command fails over the signature, and says so last."""
        failed = self.qxpkg(*words, code=1)
        self.assertRegex(failed.stderr.splitlines()[-1], "is not signed|NO_PUBKEY")
        self.assertEqual("", failed.stdout)

    def test_what_the_templates_key_signed_is_installed(self):
        self.publisher.sign(self.repository("deb"))
        self.assertEqual("one all 1.0\n", self.qxpkg("install", "-q", "-p", 101, "one").stdout)
        self.assertEqual(["ii one 1.0"], self.deb_state(101))

    def test_what_another_key_signed_is_refused(self):
        self.stranger.sign(self.repository("deb"))
        self.assert_refused("install", "-q", "-p", 101, "one")
        self.assertEqual([], self.deb_state(101))

    def test_a_list_that_changed_after_it_was_signed_is_refused(self):
        self.publisher.sign(self.repository("deb"))
        self.offer(packages().deb("two"))
        failed = self.qxpkg("install", "-q", "-p", 101, "two", code=1)
        self.assertIn("cannot read the repositories", failed.stderr.splitlines()[-1])
        self.assertEqual([], self.deb_state(101))

    def test_a_key_that_is_exchanged_counts_at_once(self):
        self.publisher.sign(self.repository("deb"))
        self.qxpkg("install", "-q", "-n", "-p", 101, "one")
        self.trust(self.stranger)
        self.assert_refused("install", "-q", "-p", 101, "one")
        self.assertEqual([], self.deb_state(101))

    def test_a_cache_is_built_of_what_the_templates_key_signed(self):
        self.stranger.sign(self.repository("deb"))
        self.assert_refused("create", "cache", "-q", ".signeddeb")
        self.publisher.sign(self.repository("deb"))
        self.qxpkg("create", "cache", "-q", ".signeddeb")
        self.assertTrue((self.template("deb") / "cache.toml").exists())

    def test_an_rpm_package_that_the_templates_key_signed_is_installed(self):
        self.offer_signed(self.publisher)
        self.assertEqual("one noarch 1.0-1\n", self.qxpkg("install", "-q", "-p", 102, "one").stdout)
        self.assertEqual(["one"], self.names("--ct", 102, "--type", "rpm"))

    def test_an_rpm_package_that_another_key_signed_is_refused(self):
        self.offer_signed(self.stranger)
        failed = self.qxpkg("install", "-q", "-p", 102, "one", code=1)
        self.assertEqual("cannot install 'one': GPG check FAILED", failed.stderr.splitlines()[-1])
        self.assertEqual([], self.names("--ct", 102, "--type", "rpm"))

    def test_an_rpm_package_that_nobody_signed_is_refused(self):
        self.offer(packages().rpm("one"))
        failed = self.qxpkg("install", "-q", "-p", 102, "one", code=1)
        self.assertEqual("cannot install 'one': GPG check FAILED", failed.stderr.splitlines()[-1])
        self.assertEqual([], self.names("--ct", 102, "--type", "rpm"))

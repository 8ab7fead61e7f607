"""Repositories that are signed: the key that a template names decides what is installed."""

import unittest

from kr_world import ENGINES, KrTest, packages
from signing import SIGNING, SigningKey

REASON = ENGINES or SIGNING


@unittest.skipIf(REASON is not None, REASON)
class Signatures(KrTest):
    """Container 101 is made of an OS template whose repository its publisher signs."""

    def setUp(self):
        super().setUp()
        self.publisher = self.key("publisher")
        self.stranger = self.key("stranger")
        self.offer(packages().deb("one"))
        self.template = self.os_template("signed", "deb", base=["one"], extra='variant = "empty"')
        manifest = self.template / "template.toml"
        manifest.write_text(manifest.read_text().replace("trusted = true", 'key = "archive.asc"'))
        self.trust(self.publisher)
        self.container(101, "signed")

    def key(self, name):
        """A key pair of a publisher of this name."""
        key = SigningKey(self.folder / name)
        self.addCleanup(key.close)
        return key

    def trust(self, key):
        """Makes a key the one that the template has."""
        (self.template / "keys").mkdir(exist_ok=True)
        (self.template / "keys/archive.asc").write_text(key.public())

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
        self.assert_refused("create", "cache", "-q", ".signed")
        self.publisher.sign(self.repository("deb"))
        self.qxpkg("create", "cache", "-q", ".signed")
        self.assertTrue((self.template / "cache.toml").exists())

"""KR templates and packages as a user has them: qxa, the plug-in, libqxtt, qxpkg and the engines together."""

import fcntl
import json
import os
import select
import subprocess
import unittest

from kr_world import BIN, ENGINES, KrTest, packages


@unittest.skipIf(ENGINES is not None, ENGINES)
class Node(KrTest):
    """Templates of the node."""

    def packed(self, name, packaging, app=None, version="1"):
        """A template package file of an OS template whose root starts from nothing."""
        self.offer(packages().deb("base"), packages().rpm("base", provides="/bin/sh"))
        self.offer(packages().deb("one"), packages().rpm("one"))
        scheme = "copy" if packaging == "deb" else "file"
        folder = self.folder / f"source-{name}"
        (folder / "app").mkdir(parents=True)
        (folder / "template.toml").write_text(
            f'technology = "kr"\nkind = "os"\nname = "{name}"\nversion = "{version}"\n'
            f'summary = "summary of {name}"\ndescription = "first\\nsecond"\npackaging = "{packaging}"\n'
            'variant = "empty"\nbase_packages = ["base"]\ntechnologies = ["x86_64"]\n\n'
            f'[[repositories]]\nurl = "{scheme}:{self.repository(packaging)}"\nsuite = "./"\ntrusted = true\n'
        )
        if app:
            (folder / "app" / f"{app}.toml").write_text(
                f'technology = "kr"\nkind = "app"\nname = "{app}"\nos = "{name}"\npackages = ["one"]\n'
            )
        file = self.folder / f"{name}.tar.gz"
        self.qxpkg("pack", folder, file)
        return file

    def test_an_installed_os_template_is_listed_with_its_application_and_has_a_cache(self):
        self.qxa("install", self.packed("tiny", "deb", app="one"))
        self.assertEqual([".tiny", ".tiny/one"], self.names("--type", "os,app"))
        self.assertTrue((self.node / "qx/template/kr/tiny/cache.toml").exists())

    def test_information_about_a_template_comes_from_its_metadata(self):
        self.qxa("install", self.packed("tiny", "deb"))
        [package] = json.loads(self.qxa("--format", "json", "info", ".tiny").stdout)["results"][0]["packages"]
        self.assertEqual("summary of tiny", package["summary"])
        self.assertEqual("first\nsecond\n", package["description"])

    def test_a_container_starts_from_the_cache_of_its_os_template(self):
        for veid, packaging in ((101, "deb"), (102, "rpm")):
            self.qxa("install", self.packed(f"tiny{packaging}", packaging))
            self.qxa("ct", "create", veid, "--os", f".tiny{packaging}")
            self.assertEqual("base 1.0\n", (self.root(veid) / "usr/share/base/file").read_text())
            self.assertEqual(["base"], self.names("--ct", veid, "--type", "rpm"))

    def test_a_template_that_is_there_already_is_in_conflict(self):
        file = self.packed("tiny", "deb")
        self.qxa("install", file)
        again = self.run_qxa("install", file)
        self.assertEqual(5, again.returncode)
        self.assertIn("code 3510", again.stderr)

    def test_a_mixed_collection_is_one_of_no_technology(self):
        mixed = self.run_qxa("install", self.packed("tiny", "deb"), self.package("base"))
        self.assertIn("code 3511", mixed.stderr)
        self.assertEqual([], self.names())

    def test_a_standard_package_is_offered_to_the_standard_technology(self):
        self.os_template("tiny", "deb")
        self.qxa("install", self.package("base"))
        self.assertEqual([".tiny", "base/1"], sorted(self.names()))

    def test_a_template_in_use_is_not_removed(self):
        self.qxa("install", self.packed("tiny", "deb"))
        self.qxa("ct", "create", 101, "--os", ".tiny")
        refused = self.qxa("remove", ".tiny", code=5)
        self.assertIn("some Containers use package(s) .tiny", refused.stderr)
        self.qxa("ct", "destroy", 101)
        self.qxa("remove", ".tiny")
        self.assertEqual([], self.names())

    def test_templates_of_both_technologies_are_removed_in_one_request(self):
        self.qxa("install", self.packed("tiny", "deb", app="one"))
        self.qxa("install", self.package("base"))
        self.qxa("remove", ".tiny/one", ".tiny", "base/1")
        self.assertEqual([], self.names())

    def test_an_update_renews_the_cache(self):
        self.qxa("install", self.packed("tiny", "deb"))
        before = (self.node / "qx/template/kr/tiny/cache.toml").read_text()
        self.offer(packages().deb("base", "1.1"))
        self.qxa("update")
        self.assertNotEqual(before, (self.node / "qx/template/kr/tiny/cache.toml").read_text())
        self.qxa("ct", "create", 101, "--os", ".tiny")
        self.assertEqual("base 1.1\n", (self.root(101) / "usr/share/base/file").read_text())

    def test_packages_of_a_template_are_listed_once_each(self):
        self.qxa("install", self.packed("tiny", "rpm", app="one"))
        self.assertEqual(["base"], self.names(".tiny", "--type", "rpm"))
        self.assertEqual(["one"], self.names(".tiny/one", "--type", "rpm"))

    def test_packages_that_an_os_template_offers_are_listed(self):
        self.qxa("install", self.packed("tiny", "rpm"))
        self.assertEqual(["base", "one"], sorted(self.names("--compatible", ".tiny", "--type", "rpm")))


@unittest.skipIf(ENGINES is not None, ENGINES)
class Containers(KrTest):
    """Packages and templates of containers: 101 of deb packages, 102 of rpm packages."""

    def setUp(self):
        super().setUp()
        self.offer(
            packages().rpm("qxbase", provides="/bin/sh"),
            packages().deb("one"), packages().deb("two", depends="one"),
            packages().rpm("one"), packages().rpm("two", requires="one"),
        )
        for veid, packaging in ((101, "deb"), (102, "rpm")):
            self.os_template(f"tiny{packaging}", packaging)
            self.app_template(f"tiny{packaging}", "pair", ["two"])
            self.container(veid, f"tiny{packaging}")

    def test_packages_come_are_listed_and_go(self):
        for veid in (101, 102):
            self.qxa("install", "--ct", veid, "two")
            self.assertEqual(["one", "two"], self.names("--ct", veid, "--type", "rpm"))
            self.qxa("remove", "--ct", veid, "two")
            self.assertEqual(["one"], self.names("--ct", veid, "--type", "rpm"))

    def test_a_name_after_a_container_is_no_container(self):
        self.qxa("install", "--ct", 101, "one")
        self.offer(packages().deb("one", "1.1"))
        self.qxa("update", "--ct", 101, "one")
        self.assertEqual(["ii one 1.1"], self.deb_state(101))

    def test_an_application_template_is_listed_in_its_container(self):
        for veid, name in ((101, ".tinydeb"), (102, ".tinyrpm")):
            self.qxa("install", "--ct", veid, f"{name}/pair")
            self.assertEqual([name, f"{name}/pair"], self.names("--ct", veid, "--type", "os,app"))

    def test_a_template_of_another_os_template_is_not_taken_for_ones_own(self):
        failed = self.qxa("install", "--ct", 101, ".tinyrpm/pair", code=2)
        self.assertIn("'.tinyrpm/pair' does not belong to .tinydeb", failed.stderr)
        self.assertEqual([], self.deb_state(101))

    def test_information_about_a_package_comes_from_the_repositories(self):
        for veid, packaging in ((101, "deb"), (102, "rpm")):
            document = json.loads(self.qxa("--format", "json", "info", "--ct", veid, "--type", packaging, "one").stdout)
            [package] = document["results"][0]["packages"]
            self.assertEqual("package one", package["summary"])
            self.assertEqual(f".tiny{packaging}", package["os"]["name"])

    def test_a_package_that_others_need_is_refused(self):
        self.qxa("install", "--ct", 101, "two")
        refused = self.qxa("remove", "--ct", 101, "one", code=5)
        self.assertIn("needed by 'two'", refused.stderr)

    def test_what_fails_says_why(self):
        self.offer(packages().deb("bad", scripts={"postinst": "exit 3"}))
        failed = self.qxa("install", "--ct", 101, "bad", code=1)
        self.assertIn("' qxpkg install -q -p 101 bad' exec failed - cannot install 'bad': package 'bad'", failed.stderr)
        self.assertIn("code 3501", failed.stderr)

    def test_a_dry_run_changes_nothing(self):
        self.qxa("install", "--dry-run", "--ct", 101, "two")
        self.assertEqual([], self.deb_state(101))

    def test_standard_templates_do_not_suit_a_kr_container(self):
        self.qxa("install", self.package("base"))
        failed = self.qxa("install", "--ct", 101, "base/1", code=5)
        self.assertIn("packages base cannot be installed into Container", failed.stderr)

    def test_a_container_at_work_is_waited_for_as_long_as_told(self):
        lock = self.node / "etc/sysconfig/qx-scripts/.101.lock"
        with open(lock, "w", encoding="utf-8") as held:
            fcntl.flock(held, fcntl.LOCK_EX)
            self.qxa("--wait", 0, "install", "--ct", 101, "one", code=6)
        self.qxa("--wait", 0, "install", "--ct", 101, "one")

    def test_the_engines_own_lines_stand_in_the_agents_log(self):
        self.offer(packages().deb("bad", scripts={"postinst": "echo about to fail; exit 3"}))
        self.qxa("install", "--ct", 101, "bad", code=1)
        self.assertIn("qxpkg: about to fail", (self.node / "var/lib/qxagent/agent.log").read_text())

    def test_who_sits_at_a_terminal_sees_how_long_it_takes(self):
        self.offer(packages().deb("slow", scripts={"postinst": "sleep 1.5"}))
        ours, theirs = os.openpty()
        with open(ours, "rb", buffering=0) as terminal:
            command = [BIN / "qxa", "--node-dir", self.node, "install", "--ct", "101", "slow"]
            running = subprocess.Popen(command, stderr=theirs, stdout=subprocess.DEVNULL)
            os.close(theirs)
            seen = b""
            while b" 1 s" not in seen and select.select([terminal], [], [], 30)[0]:
                seen += terminal.read(4096)
            self.assertEqual(0, running.wait(timeout=30))
        self.assertIn(b"qxa: install on 101 ... 1 s", seen)

    def test_several_containers_are_served_at_once(self):
        self.qxa("install", "--ct", "101,102", "-j", 2, "two")
        self.assertEqual(["ii one 1.0", "ii two 1.0"], self.deb_state(101))
        self.assertEqual(["one 1.0", "two 1.0"], self.rpm_state(102))

    def test_an_update_of_everything_reaches_every_package(self):
        for veid in (101, 102):
            self.qxa("install", "--ct", veid, "two")
        self.offer(packages().deb("one", "1.1"), packages().rpm("one", "1.1"))
        self.qxa("update", "--all-ct")
        self.assertEqual(["ii one 1.1", "ii two 1.0"], self.deb_state(101))
        self.assertEqual(["one 1.1", "two 1.0"], self.rpm_state(102))


@unittest.skipIf(ENGINES is not None, ENGINES)
class Fetching(KrTest):
    """Downloads for the node's templates."""

    def test_packages_are_fetched_and_cleaned(self):
        self.offer(packages().deb("one"))
        self.os_template("tiny", "deb", packages=["one"])
        cache = self.node / "var/lib/qxagent/qxpkg/fetch/tiny"
        self.qxa("fetch", ".tiny")
        self.assertEqual(1, len(list(cache.rglob("*.deb"))))
        self.qxa("clean", ".tiny")
        self.assertEqual(0, len(list(cache.rglob("*.deb"))))

    def test_a_name_for_which_nothing_is_ever_fetched_is_wrong_usage(self):
        for action in ("fetch", "clean"):
            failed = self.qxa(action, "one", code=2)
            self.assertIn("a KR template has a dot (.one), a package needs --type", failed.stderr)


if __name__ == "__main__":
    unittest.main()

"""KR templates of the node and their caches, built by the real engines."""

import json
import os
import pathlib
import shutil
import signal
import subprocess
import tarfile
import time
import unittest

from kr_world import APPLETS, BIN, ENGINES, KrTest, packages

SLOW = "touch /started; while [ ! -e /go ]; do sleep 0.05; done"


class NodeTemplateTest(KrTest):
    """Template packages and what is on the node."""

    def package(self, name, text, **files):
        """A packed template; `files` are further texts by path, with "__" for "/"."""
        folder = self.folder / "source" / name
        shutil.rmtree(folder, ignore_errors=True)
        for path, content in {"template.toml": text, **files}.items():
            target = folder / path.replace("__", "/")
            target.parent.mkdir(parents=True, exist_ok=True)
            target.write_text(content)
        file = self.folder / f"{name}.tar.gz"
        self.qxpkg("pack", folder, file)
        return file

    def os_package(self, name, version="1", extra=""):
        """A package of an OS template of deb packages."""
        return self.package(
            f"{name}-{version}",
            f'technology = "kr"\nkind = "os"\nname = "{name}"\nversion = "{version}"\n'
            f'packaging = "deb"\nsummary = "summary of {name}"\n{extra}',
        )

    def app_package(self, os_name, name, version="1"):
        """A package of an application template."""
        return self.package(
            f"{os_name}-{name}-{version}",
            f'technology = "kr"\nkind = "app"\nname = "{name}"\nos = "{os_name}"\nversion = "{version}"\n',
        )

    def configure(self, veid, os_name, templates=""):
        """A container's configuration."""
        config = self.node / "etc/sysconfig/qx-scripts" / f"{veid}.conf"
        config.write_text(
            f'VE_PRIVATE="/qx/private/$VEID"\nOSTEMPLATE="{os_name}"\nTEMPLATES="{templates}"\n'
        )

    def staging(self):
        """Names of what is being prepared in the template area."""
        folder = self.node / "qx/template/.qxtem/staging"
        return sorted(path.name for path in folder.iterdir()) if folder.exists() else []

    def cache(self, os_name):
        """Folder of an OS template's cache; None without one."""
        record = self.node / "qx/template/kr" / os_name / "cache.toml"
        if not record.exists():
            return None
        uuid = next(line.split('"')[1] for line in record.read_text().splitlines() if line.startswith("uuid"))
        return self.node / "qx/template/vc" / uuid

    def caches(self):
        """Names of all folders that caches lie in."""
        folder = self.node / "qx/template/vc"
        return sorted(path.name for path in folder.iterdir()) if folder.exists() else []


class Templates(NodeTemplateTest):
    """Template packages from a shell."""

    def test_templates_come_and_go_with_one_line_each(self):
        base, web = self.os_package("base"), self.app_package("base", "web")
        done = self.qxpkg("install", "template", "-q", base, web)
        self.assertEqual((".base template\n.base .web\n", ""), (done.stdout, done.stderr))
        self.assertEqual(".base template\n.base .web\n", self.qxpkg("list", "-q").stdout)
        done = self.qxpkg("remove", "template", "-q", "-F", ".base", ".web")
        self.assertEqual((".base .web\n", ""), (done.stdout, done.stderr))
        done = self.qxpkg("remove", "template", "-q", ".base")
        self.assertEqual((".base template\n", ""), (done.stdout, done.stderr))
        self.assertEqual("", self.qxpkg("list", "-q").stdout)

    def test_a_refusal_has_its_code_and_its_reason_last(self):
        base = self.os_package("base")
        self.qxpkg("install", "template", "-q", base)
        again = self.qxpkg("install", "template", "-q", base, code=27)
        self.assertEqual("", again.stdout)
        self.assertEqual("OS template '.base' already exists, version 1", again.stderr.splitlines()[-1])

    def test_a_list_with_a_standard_package_changes_nothing(self):
        text = self.folder / "template.toml"
        text.write_text('technology = "standard"\nname = "std"\nversion = "1"\nkind = "os"\n')
        standard = self.folder / "standard.tar"
        with tarfile.open(standard, "w") as archive:
            archive.add(text, "template.toml")
        self.qxpkg("install", "template", "-q", self.os_package("base"), standard, code=33)
        self.assertEqual("", self.qxpkg("list", "-q").stdout)

    def test_a_template_in_use_is_not_removed(self):
        self.qxpkg("install", "template", "-q", self.os_package("base"), self.app_package("base", "web"))
        self.configure(101, ".base", ".web")
        refused = self.qxpkg("remove", "template", "-q", "-F", ".base", ".web", code=27)
        self.assertIn("used by container(s) 101", refused.stderr)
        refused = self.qxpkg("remove", "template", "-q", "-w", ".base", code=27)
        self.assertIn("used by container(s) 101", refused.stderr)
        self.assertEqual(".base template\n.base .web\n", self.qxpkg("list", "-q").stdout)

    def test_an_update_replaces_the_older_and_reports_what_is_as_new(self):
        self.qxpkg("install", "template", "-q", self.os_package("base", "1"))
        for version in ("2", "2", "1"):
            done = self.qxpkg("update", "template", "-q", self.os_package("base", version))
            self.assertEqual(".base template\n", done.stdout)
        document = json.loads(self.qxpkg("list", "--format", "json").stdout)
        self.assertEqual(["2"], [template["version"] for template in document["templates"]])

    def test_people_are_told_and_the_table_has_a_heading(self):
        done = self.qxpkg("install", "template", self.os_package("base"))
        self.assertEqual(".base template\n", done.stdout)
        self.assertIn("SUMMARY", self.qxpkg("list").stdout)

    def test_wrong_usage_is_told_apart(self):
        for words in (["install", "-q", ".web"], ["create", "cache"], ["install", "template"], []):
            result = self.run_qxpkg(*words)
            self.assertEqual(2, result.returncode, words)
            self.assertEqual("", result.stdout)

    def test_an_area_is_verified_with_its_root_and_templates(self):
        self.qxpkg("install", "template", "-q", self.os_package("base"))
        self.configure(101, ".base")
        missing = self.qxpkg("verify", "area", 101, code=1)
        self.assertIn("/qx/private/101' is not a folder", missing.stderr)
        (self.node / "qx/private/101/root").mkdir(parents=True)
        environment = {**os.environ, "PATH": f"{BIN}:{os.environ['PATH']}"}
        verified = self.run_qxpkg("verify", "area", 101, env=environment)
        self.assertEqual(0, verified.returncode, verified.stderr)
        self.configure(101, ".base", ".nothing")
        self.assertIn("nothing.toml", self.qxpkg("verify", "area", 101, code=1).stderr)
        self.assertEqual(1, len(self.qxpkg("verify", "area", 102, code=1).stderr.splitlines()))


@unittest.skipIf(ENGINES is not None, ENGINES)
class Caches(NodeTemplateTest):
    """Caches of OS templates, over tiny repositories."""

    def setUp(self):
        super().setUp()
        self.offer(
            packages().deb("one"), packages().deb("two", depends="one (>= 1.0)"),
            packages().rpm("one"), packages().rpm("two", requires="one >= 1.0"),
        )
        self.os_template("tinydeb", "deb", base=["one"], extra='variant = "empty"')
        self.os_template("tinyrpm", "rpm", base=["two"])

    def test_a_deb_cache_holds_the_packages_as_tree_and_as_archive(self):
        self.os_template("tinydeb", "deb", base=["two"], packages=["one"], extra='variant = "empty"')
        done = self.qxpkg("create", "cache", "-q", ".tinydeb")
        self.assertEqual(("", ""), (done.stdout, done.stderr))
        cache = self.cache("tinydeb")
        self.assertEqual(["root", "root.tar.gz"], sorted(path.name for path in cache.iterdir()))
        self.assertEqual("two 1.0\n", (cache / "root/usr/share/two/file").read_text())
        self.assertIn("Package: one", (cache / "root/var/lib/dpkg/status").read_text())
        with tarfile.open(cache / "root.tar.gz") as archive:
            self.assertIn("./usr/share/two/file", archive.getnames())
        self.assertEqual([], self.staging())

    def test_an_rpm_cache_holds_the_packages_and_what_they_need(self):
        self.qxpkg("create", "cache", "-q", ".tinyrpm")
        root = self.cache("tinyrpm") / "root"
        self.assertEqual("one 1.0\n", (root / "usr/share/one/file").read_text())
        self.assertTrue((root / "var/lib/rpm").is_dir())

    @unittest.skipIf(shutil.which("mmdebstrap") is None, "not installed: mmdebstrap")
    def test_a_deb_tree_is_bootstrapped_in_the_extent_of_its_variant(self):
        self.os_template("tinydeb", "deb", base=["two"], extra='variant = "extract"')
        self.qxpkg("create", "cache", "-q", ".tinydeb")
        root = self.cache("tinydeb") / "root"
        self.assertEqual("one 1.0\n", (root / "usr/share/one/file").read_text())
        # Names of this machine have no place in containers.
        self.assertFalse((root / "etc/resolv.conf").exists() or (root / "etc/hostname").exists())
        self.assertNotIn(str(self.folder), (root / "etc/apt/sources.list").read_text())

    def test_a_container_is_made_from_the_cache(self):
        self.qxpkg("create", "cache", "-q", ".tinydeb")
        self.qxa("ct", "create", 101, "--os", ".tinydeb")
        self.assertEqual("one 1.0\n", (self.root(101) / "usr/share/one/file").read_text())

    def test_a_cache_is_built_once_unless_forced(self):
        self.qxpkg("create", "cache", "-q", ".tinydeb")
        first = self.cache("tinydeb")
        refused = self.qxpkg("create", "cache", "-q", ".tinydeb", ".tinyrpm", code=27)
        self.assertIn("'.tinydeb' has a cache already", refused.stderr)
        self.assertEqual([first.name], self.caches())
        self.qxpkg("create", "cache", "-q", "-f", ".tinydeb")
        self.assertNotEqual(first, self.cache("tinydeb"))
        self.assertEqual([self.cache("tinydeb").name], self.caches())

    def test_an_update_of_all_renews_the_caches_that_are_there(self):
        self.qxpkg("create", "cache", "-q", ".tinydeb")
        first = self.cache("tinydeb")
        self.offer(packages().deb("one", "2.0"))
        done = self.qxpkg("update", "cache", "-q")
        self.assertEqual(("", ""), (done.stdout, done.stderr))
        self.assertEqual("one 2.0\n", (self.cache("tinydeb") / "root/usr/share/one/file").read_text())
        self.assertFalse(first.exists())
        self.assertIsNone(self.cache("tinyrpm"))

    def test_an_update_by_name_builds_a_cache_that_is_missing(self):
        self.qxpkg("update", "cache", "-q", ".tinyrpm")
        self.assertIsNotNone(self.cache("tinyrpm"))

    def test_a_failing_engine_leaves_nothing_and_says_why(self):
        self.os_template("tinydeb", "deb", base=["nothing"], extra='variant = "empty"')
        failed = self.qxpkg("create", "cache", "-q", ".tinyrpm", ".tinydeb", code=1)
        self.assertEqual("", failed.stdout)
        self.assertIn("nothing", failed.stderr.splitlines()[-1])
        self.assertEqual(([], []), (self.staging(), self.caches()))

    @unittest.skipIf(shutil.which("mmdebstrap") is None, "not installed: mmdebstrap")
    def test_a_failing_bootstrap_leaves_nothing_and_says_why(self):
        self.os_template("tinydeb", "deb", base=["nothing"], extra='variant = "extract"')
        failed = self.qxpkg("create", "cache", "-q", ".tinydeb", code=1)
        self.assertIn("Unable to locate package nothing", failed.stderr)
        self.assertIn("cannot build the cache of '.tinydeb'", failed.stderr.splitlines()[-1])
        self.assertEqual(([], []), (self.staging(), self.caches()))

    def test_a_cache_that_cannot_be_renewed_stays_and_holds_up_no_other(self):
        self.qxpkg("create", "cache", "-q", ".tinydeb", ".tinyrpm")
        deb, rpm = self.cache("tinydeb"), self.cache("tinyrpm")
        self.os_template("tinydeb", "deb", base=["nothing"], extra='variant = "empty"')
        self.qxpkg("update", "cache", "-q", code=1)
        self.assertEqual(deb, self.cache("tinydeb"))
        self.assertTrue((deb / "root/usr/share/one/file").exists())
        self.assertNotEqual(rpm, self.cache("tinyrpm"))

    def test_a_removed_template_takes_its_cache_along(self):
        self.qxpkg("create", "cache", "-q", ".tinydeb")
        self.qxpkg("remove", "template", "-q", ".tinydeb")
        self.assertEqual(([], []), (self.caches(), self.staging()))


@unittest.skipIf(ENGINES is not None, ENGINES)
class Interrupted(NodeTemplateTest):
    """Kills and interrupts while a cache is being built."""

    def setUp(self):
        super().setUp()
        busybox = shutil.which("busybox")
        self.offer(
            packages().deb("one"), self.shell_package(pathlib.Path(busybox)),
            packages().deb("slow", depends="shell", scripts={"postinst": SLOW}),
        )
        self.os_template("tinydeb", "deb", base=["one"], extra='variant = "empty"')
        self.qxpkg("create", "cache", "-q", ".tinydeb")
        self.before = self.cache("tinydeb")
        self.os_template("tinydeb", "deb", base=["slow"], extra='variant = "empty"')

    def shell_package(self, busybox):
        """A package with a shell for the scripts of others."""
        tree = self.folder / "shell"
        (tree / "DEBIAN").mkdir(parents=True)
        (tree / "DEBIAN/control").write_text(
            "Package: shell\nVersion: 1.0\nArchitecture: all\n"
            "Maintainer: Tests <tests@example.invalid>\nDescription: shell\n"
        )
        (tree / "bin").mkdir()
        shutil.copy(busybox, tree / "bin/busybox")
        for applet in APPLETS:
            (tree / "bin" / applet).symlink_to("busybox")
        file = self.folder / "shell.deb"
        subprocess.run(
            ["dpkg-deb", "--root-owner-group", "-Znone", "--build", tree, file], check=True, capture_output=True
        )
        return file

    def start(self):
        """Starts renewing the cache and waits until a script of it runs."""
        process = subprocess.Popen(
            [BIN / "qxpkg", "--node-dir", self.node, "update", "cache", "-q", ".tinydeb"],
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
        )
        self.addCleanup(process.kill)
        staging = self.node / "qx/template/.qxtem/staging"
        for _ in range(1000):
            if list(staging.glob("*/root/started")):
                return process
            time.sleep(0.01)
        process.kill()
        self.fail(f"the script did not start: {process.communicate()}")

    def test_an_interrupt_leaves_the_old_cache_and_nothing_in_staging(self):
        for number in (signal.SIGINT, signal.SIGTERM):
            process = self.start()
            process.send_signal(number)
            output, errors = process.communicate()
            self.assertEqual(130, process.returncode, errors)
            self.assertEqual("", output)
            self.assertEqual("interrupted", errors.splitlines()[-1])
            self.assertEqual([], self.staging())
            self.assertEqual(self.before, self.cache("tinydeb"))
            self.assertEqual([self.before.name], self.caches())

    def test_after_a_kill_the_next_writer_starts_clean(self):
        process = self.start()
        process.kill()
        process.communicate()
        self.assertNotEqual([], self.staging())
        self.assertEqual(self.before, self.cache("tinydeb"))
        self.qxpkg("install", "template", "-q", self.os_package("other"))
        self.assertEqual([], self.staging())
        self.assertEqual([self.before.name], self.caches())

    def test_a_second_writer_is_told_for_whom_it_waits(self):
        process = self.start()
        late = self.qxpkg("--wait", "0.2", "remove", "template", "-q", ".tinydeb", code=75)
        lines = late.stderr.splitlines()
        self.assertIn("waiting for '/qx/template/.lock', held by pid", lines[0])
        self.assertIn("gave up waiting for a lock", lines[-1])
        self.assertIn("update cache", lines[-1])
        for started in (self.node / "qx/template/.qxtem/staging").glob("*/root/started"):
            (started.parent / "go").touch()
        output, errors = process.communicate()
        self.assertEqual(0, process.returncode, output + errors)
        self.assertNotEqual(self.before, self.cache("tinydeb"))


if __name__ == "__main__":
    unittest.main()

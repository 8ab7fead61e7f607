"""Packages and templates of containers, changed by the real engines."""

import functools
import os
import signal
import subprocess
import time
import unittest

from kr_world import BIN, ENGINES, KrTest, packages


class ContainerTest(KrTest):
    """A container of each packaging: 101 of deb packages, 102 of rpm packages."""

    def setUp(self):
        super().setUp()
        self.offer(
            packages().deb("one"), packages().deb("two", depends="one (>= 1.0)"),
            packages().rpm("qxbase", provides="/bin/sh"),
            packages().rpm("one"), packages().rpm("two", requires="one >= 1.0"),
        )
        self.os_template("tinydeb", "deb")
        self.os_template("tinyrpm", "rpm")
        self.container(101, "tinydeb")
        self.container(102, "tinyrpm")


@unittest.skipIf(ENGINES is not None, ENGINES)
class Packages(ContainerTest):
    """Packages by name."""

    def test_a_deb_package_is_installed_with_what_it_needs(self):
        done = self.qxpkg("install", "-q", "-p", 101, "two")
        self.assertEqual("one all 1.0\ntwo all 1.0\n", done.stdout)
        self.assertEqual("", done.stderr)
        self.assertEqual(["ii one 1.0", "ii two 1.0"], self.deb_state(101))
        self.assertEqual("two 1.0\n", (self.root(101) / "usr/share/two/file").read_text())

    def test_an_rpm_package_is_installed_with_what_it_needs(self):
        done = self.qxpkg("install", "-q", "-p", 102, "two")
        self.assertEqual("one noarch 1.0-1\ntwo noarch 1.0-1\n", done.stdout)
        self.assertEqual(["one 1.0", "two 1.0"], self.rpm_state(102))
        self.assertEqual("two 1.0\n", (self.root(102) / "usr/share/two/file").read_text())

    def test_a_caller_who_ignores_its_children_gets_the_engines_result(self):
        ignore = functools.partial(signal.signal, signal.SIGCHLD, signal.SIG_IGN)
        done = self.run_qxpkg("install", "-q", "-p", 101, "one", preexec_fn=ignore)
        self.assertEqual((0, "one all 1.0\n"), (done.returncode, done.stdout))

    def test_what_is_installed_already_is_reported_as_done(self):
        for veid in (101, 102):
            first = self.qxpkg("install", "-q", "-p", veid, "one")
            self.assertEqual(first.stdout, self.qxpkg("install", "-q", "-p", veid, "one").stdout)

    def test_a_removal_reports_what_went(self):
        self.qxpkg("install", "-q", "-p", 101, "one")
        self.qxpkg("install", "-q", "-p", 102, "one")
        self.assertEqual("one all 1.0\n", self.qxpkg("remove", "-q", "-p", 101, "one").stdout)
        self.assertEqual("one noarch 1.0-1\n", self.qxpkg("remove", "-q", "-p", 102, "one").stdout)
        self.assertEqual([], self.rpm_state(102))
        self.assertFalse((self.root(101) / "usr/share/one/file").exists())

    def test_what_others_need_is_not_removed(self):
        for veid in (101, 102):
            self.qxpkg("install", "-q", "-p", veid, "two")
            refused = self.qxpkg("remove", "-q", "-p", veid, "one", code=27)
            self.assertIn("'one' cannot be removed: needed by 'two'", refused.stderr)
        self.assertEqual(["ii one 1.0", "ii two 1.0"], self.deb_state(101))
        self.assertEqual(["one 1.0", "two 1.0"], self.rpm_state(102))

    def test_w_takes_along_what_depends_on_the_removed(self):
        for veid in (101, 102):
            self.qxpkg("install", "-q", "-p", veid, "two")
            gone = self.qxpkg("remove", "-q", "-w", "-p", veid, "one").stdout
            self.assertEqual(["one", "two"], [line.split()[0] for line in gone.splitlines()])

    def test_f_removes_what_others_need(self):
        for veid in (101, 102):
            self.qxpkg("install", "-q", "-p", veid, "two")
            gone = self.qxpkg("remove", "-q", "-f", "-p", veid, "one").stdout
            self.assertEqual(["one"], [line.split()[0] for line in gone.splitlines()])

    def test_a_removal_without_names_does_nothing(self):
        for veid in (101, 102):
            self.qxpkg("install", "-q", "-p", veid, "one")
            self.assertEqual("", self.qxpkg("remove", "-q", "-p", veid).stdout)
        self.assertEqual(["ii one 1.0"], self.deb_state(101))
        self.assertEqual(["one 1.0"], self.rpm_state(102))

    def test_an_update_without_names_updates_everything(self):
        for veid in (101, 102):
            self.qxpkg("install", "-q", "-p", veid, "two")
        self.offer(packages().deb("one", "1.1"), packages().rpm("one", "1.1"))
        self.assertEqual("one all 1.1\n", self.qxpkg("update", "-q", "-p", 101).stdout)
        self.assertEqual("one noarch 1.1-1\n", self.qxpkg("update", "-q", "-p", 102).stdout)
        self.assertEqual(["ii one 1.1", "ii two 1.0"], self.deb_state(101))
        self.assertEqual(["one 1.1", "two 1.0"], self.rpm_state(102))

    def test_an_update_of_a_name_leaves_the_others(self):
        for veid in (101, 102):
            self.qxpkg("install", "-q", "-p", veid, "two")
        self.offer(
            packages().deb("one", "1.1"), packages().deb("two", "1.1", depends="one"),
            packages().rpm("one", "1.1"), packages().rpm("two", "1.1", requires="one"),
        )
        self.assertEqual("two all 1.1\n", self.qxpkg("update", "-q", "-p", 101, "two").stdout)
        self.assertEqual("two noarch 1.1-1\n", self.qxpkg("update", "-q", "-p", 102, "two").stdout)

    def test_n_shows_what_would_be_done_and_changes_nothing(self):
        planned = self.qxpkg("install", "-q", "-n", "-p", 101, "two").stdout
        self.assertEqual("one all 1.0\ntwo all 1.0\n", planned)
        planned = self.qxpkg("install", "-q", "-n", "-p", 102, "two").stdout
        self.assertEqual(["one", "two"], sorted(line.split()[0] for line in planned.splitlines()))
        self.assertEqual([], self.deb_state(101))
        self.assertEqual([], self.rpm_state(102))

    def test_what_no_key_vouches_for_is_not_installed(self):
        for veid, packaging in ((101, "deb"), (102, "rpm")):
            manifest = self.os_template(f"tiny{packaging}", packaging) / "template.toml"
            manifest.write_text(manifest.read_text().replace("trusted = true", "trusted = false"))
            failed = self.qxpkg("install", "-q", "-p", veid, "one", code=1)
            self.assertNotIn("password", failed.stderr)
            self.assertRegex(failed.stderr, "no key to check the signatures|does not have a Release file")
        self.assertEqual([], self.deb_state(101))
        self.assertEqual([], self.rpm_state(102))

    def test_a_package_that_nobody_offers_is_named(self):
        for veid in (101, 102):
            failed = self.qxpkg("install", "-q", "-p", veid, "nosuch", code=1)
            self.assertIn("nosuch", failed.stderr.splitlines()[-1])

    def test_a_removal_of_what_is_not_there_fails(self):
        for veid in (101, 102):
            failed = self.qxpkg("remove", "-q", "-p", veid, "one", code=1)
            self.assertEqual("package 'one' is not installed\n", failed.stderr)

    def test_a_missing_dependency_is_named(self):
        self.offer(packages().deb("lost", depends="nothere"), packages().rpm("lost", requires="nothere"))
        for veid in (101, 102):
            failed = self.qxpkg("install", "-q", "-p", veid, "lost", code=1)
            self.assertIn("nothere", failed.stderr.splitlines()[-1])
        self.assertEqual([], self.deb_state(101))
        self.assertEqual([], self.rpm_state(102))

    def test_a_name_that_is_an_option_a_path_or_a_pattern_is_none(self):
        options = ("-oDir=/", "-f", "--node-dir=/", "--help", "--")
        for name in (*options, "./one.deb", "/one.deb", "on*", "one=1.0", "one/stable"):
            failed = self.qxpkg("install", "-q", "-p", 101, name, code=1)
            self.assertEqual(f"'{name}' cannot be a package's name\n", failed.stderr)

    def test_without_q_people_see_what_the_engine_does(self):
        done = self.qxpkg("install", "-p", 101, "one")
        self.assertIn("Setting up one (1.0)", done.stderr)
        self.assertEqual("one all 1.0\n", done.stdout)

    def test_a_container_that_is_not_there_is_named(self):
        failed = self.qxpkg("install", "-q", "-p", 199, "one", code=1)
        self.assertEqual("there is no container 199\n", failed.stderr)
        self.assertEqual([], list((self.node / "etc/sysconfig/qx-scripts").glob("*199*")))


@unittest.skipIf(ENGINES is not None, ENGINES)
class Scripts(ContainerTest):
    """Scripts of packages run for a container and touch nothing else."""

    def test_a_failing_script_fails_the_installation_and_is_named_with_its_output(self):
        self.offer(
            packages().deb("bad", scripts={"postinst": "echo about to fail; exit 3"}),
            packages().rpm("bad", scripts={"post": "echo about to fail; exit 3"}),
        )
        for veid in (101, 102):
            failed = self.qxpkg("install", "-q", "-p", veid, "bad", code=1)
            self.assertIn("about to fail\n", failed.stderr)
            self.assertIn("package 'bad': ", failed.stderr.splitlines()[-1])
            self.assertEqual("", failed.stdout)

    def test_what_a_failing_script_left_is_taken_back_and_others_still_install(self):
        self.offer(
            packages().deb("bad", scripts={"postinst": "exit 3"}),
            packages().rpm("bad", scripts={"post": "exit 3"}),
        )
        for veid in (101, 102):
            self.qxpkg("install", "-q", "-p", veid, "bad", code=1)
            self.qxpkg("install", "-q", "-p", veid, "one")
        self.assertEqual(["ii one 1.0"], self.deb_state(101))
        self.assertEqual(["one 1.0"], self.rpm_state(102))

    def test_a_removal_that_a_script_refuses_leaves_the_package_installed(self):
        self.offer(
            packages().deb("stays", scripts={"prerm": "exit 3"}), packages().rpm("stays", scripts={"preun": "exit 3"})
        )
        for veid in (101, 102):
            self.qxpkg("install", "-q", "-p", veid, "stays")
            failed = self.qxpkg("remove", "-q", "-p", veid, "stays", code=1)
            self.assertIn("package 'stays': ", failed.stderr.splitlines()[-1])
        self.assertEqual(["ii stays 1.0"], self.deb_state(101))
        self.assertEqual(["stays 1.0"], self.rpm_state(102))

    def test_scripts_have_processes_devices_and_network_of_their_own(self):
        look = "ls /proc > /processes; ls /dev > /devices; cat /proc/net/dev > /network; cat /proc/mounts > /mounts"
        self.offer(
            packages().deb("look", scripts={"postinst": look}), packages().rpm("look", scripts={"post": look})
        )
        for veid in (101, 102):
            self.qxpkg("install", "-q", "-p", veid, "look")
            root = self.root(veid)
            processes = [name for name in (root / "processes").read_text().split() if name.isdigit()]
            self.assertLess(len(processes), 10)
            self.assertNotIn(str(os.getpid()), processes)
            devices = set((root / "devices").read_text().split())
            self.assertIn("null", devices)
            self.assertFalse([name for name in devices if name.startswith(("sd", "vd", "nvme", "mem", "kvm", "fuse"))])
            interfaces = [line.split(":")[0].strip() for line in (root / "network").read_text().splitlines()[2:]]
            self.assertEqual(["lo"], interfaces)

    def test_a_script_that_leaves_the_root_finds_no_host(self):
        escape = (
            "mkdir -p /tmp/x\n"
            "cat > /tmp/out.sh <<'END'\n"
            "for i in 1 2 3 4 5 6 7 8 9 10 11 12; do cd ..; done\n"
            "exec chroot . /bin/sh -c 'echo escaped > /etc/leak; echo escaped > "
            f"{self.folder}/leak; cat /etc/shadow > /container/shadow'\n"
            "END\n"
            "chroot /tmp/x /bin/true 2>/dev/null; sh /tmp/out.sh 2>/dev/null\n"
            f"mkdir -p {self.folder}; echo leak > {self.folder}/leak 2>/dev/null\n"
            "mount -o remount,rw / 2>/dev/null && touch /mounted\n"
            "mknod /disk b 8 0 2>/dev/null && touch /made\n"
            "exit 0"
        )
        self.offer(
            packages().deb("leave", scripts={"postinst": escape}), packages().rpm("leave", scripts={"post": escape})
        )
        for veid in (101, 102):
            self.qxpkg("install", "-q", "-p", veid, "leave")
            self.assertFalse((self.folder / "leak").exists())
            for name in ("mounted", "made"):
                self.assertFalse((self.root(veid) / name).exists(), name)
            shadow = self.root(veid) / "shadow"
            self.assertTrue(not shadow.exists() or shadow.read_text() == "")

    def test_links_planted_in_the_root_lead_nowhere(self):
        outside = self.folder / "outside"
        outside.mkdir()
        for veid, database in ((101, "var/lib/dpkg"), (102, "var/lib/rpm")):
            root = self.root(veid)
            subprocess.run(["rm", "-rf", root / database], check=True)
            (root / database).symlink_to(outside)
            (root / "usr/share").rmdir()
            (root / "usr/share").symlink_to(outside)
            self.run_qxpkg("install", "-q", "-p", veid, "one")
            self.assertEqual([], list(outside.iterdir()))

    def test_a_proc_that_is_a_link_is_refused(self):
        root = self.root(101)
        (root / "proc").rmdir()
        (root / "proc").symlink_to("/etc")
        failed = self.qxpkg("install", "-q", "-p", 101, "one", code=1)
        self.assertIn("'/proc' of the container is not a folder", failed.stderr)

    def test_nothing_of_the_engines_stays_in_the_root(self):
        self.qxpkg("install", "-q", "-p", 102, "one")
        self.assertFalse((self.root(102) / "var/cache/qxpkg").exists())
        self.assertEqual([], list((self.root(102) / "proc").iterdir()))


@unittest.skipIf(ENGINES is not None, ENGINES)
class Templates(ContainerTest):
    """Application templates of containers."""

    def setUp(self):
        super().setUp()
        for name in ("tinydeb", "tinyrpm"):
            self.app_template(name, "first", ["one"])
            self.app_template(name, "second", ["two", "one"])

    def test_a_template_brings_its_packages_and_stands_in_the_configuration(self):
        self.assertEqual("one all 1.0\n", self.qxpkg("install", "-q", 101, "first").stdout)
        self.assertEqual(".first", self.templates(101))
        self.qxpkg("install", "-q", 102, ".second")
        self.assertEqual(".second", self.templates(102))
        self.assertEqual(["one 1.0", "two 1.0"], self.rpm_state(102))

    def test_packages_of_other_templates_stay_on_removal(self):
        for veid in (101, 102):
            self.qxpkg("install", "-q", veid, "first", "second")
            gone = self.qxpkg("remove", "-q", veid, "second").stdout
            self.assertEqual(["two"], [line.split()[0] for line in gone.splitlines()])
            self.assertEqual(".first", self.templates(veid))

    def test_an_update_brings_packages_that_the_template_got_since(self):
        self.qxpkg("install", "-q", 101, "first")
        self.app_template("tinydeb", "first", ["one", "two"])
        self.assertEqual("two all 1.0\n", self.qxpkg("update", "-q", 101, "first").stdout)

    def test_an_unknown_template_is_named(self):
        failed = self.qxpkg("install", "-q", 101, "nosuch", code=1)
        self.assertIn("template '.nosuch' of OS template '.tinydeb'", failed.stderr)

    def test_a_template_that_is_not_in_the_container_is_not_removed(self):
        failed = self.qxpkg("remove", "-q", 101, "first", code=1)
        self.assertEqual("template '.first' is not in container 101\n", failed.stderr)

    def test_the_os_template_of_a_container_is_not_removed_from_it(self):
        refused = self.qxpkg("remove", "-q", 101, "tinydeb", code=27)
        self.assertIn("which is made of it", refused.stderr)

    def test_a_dry_run_leaves_the_configuration(self):
        self.qxpkg("install", "-q", "-n", 101, "first")
        self.assertEqual("", self.templates(101))


@unittest.skipIf(ENGINES is not None, ENGINES)
class Interrupted(ContainerTest):
    """Kills, waits and broken surroundings."""

    def start(self, *words):
        """Starts the command in a process group of its own."""
        return subprocess.Popen(
            [BIN / "qxpkg", "--node-dir", self.node, *map(str, words)],
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, start_new_session=True,
        )

    def wait_for(self, path):
        """Waits until a script has made a file."""
        for _ in range(1000):
            if path.exists():
                return
            time.sleep(0.01)
        self.fail(f"{path} did not appear")

    def kill_in_script(self, veid):
        """Kills an installation while a script of it runs."""
        process = self.start("install", "-q", "-p", veid, "slow")
        self.wait_for(self.root(veid) / "started")
        os.killpg(process.pid, signal.SIGKILL)
        process.communicate()

    def test_after_a_kill_the_next_run_repairs_first(self):
        slow = "touch /started; [ -e /go ] || sleep 60"
        self.offer(packages().deb("slow", scripts={"postinst": slow}), packages().rpm("slow", scripts={"post": slow}))
        for veid in (101, 102):
            self.kill_in_script(veid)
            (self.root(veid) / "go").touch()
            self.qxpkg("install", "-q", "-p", veid, "one")
            self.qxpkg("install", "-q", "-p", veid, "slow")
        self.assertEqual(["ii one 1.0", "ii slow 1.0"], self.deb_state(101))
        self.assertEqual(["one 1.0", "slow 1.0"], self.rpm_state(102))

    def test_a_purge_that_did_not_end_is_finished(self):
        self.qxpkg("install", "-q", "-p", 101, "one")
        status = self.root(101) / "var/lib/dpkg/status"
        text = status.read_text().replace("Status: install ok installed", "Status: purge reinstreq config-files")
        status.write_text(text)
        self.qxpkg("install", "-q", "-p", 101, "two")
        self.assertEqual(["ii one 1.0", "ii two 1.0"], self.deb_state(101))

    def test_a_purge_of_what_nobody_wants_leaves_nothing(self):
        self.qxpkg("install", "-q", "-p", 101, "one")
        status = self.root(101) / "var/lib/dpkg/status"
        text = status.read_text().replace("Status: install ok installed", "Status: purge reinstreq config-files")
        status.write_text(text)
        self.qxpkg("update", "-q", "-p", 101)
        self.assertEqual([], self.deb_state(101))

    def test_after_a_kill_in_an_update_one_version_is_left(self):
        slow = "[ ! -e /wait ] || { touch /started; sleep 60; }"
        self.offer(packages().deb("slow"), packages().rpm("slow"))
        for veid in (101, 102):
            self.qxpkg("install", "-q", "-p", veid, "slow")
        self.offer(
            packages().deb("slow", "1.1", scripts={"postinst": slow}),
            packages().rpm("slow", "1.1", scripts={"post": slow}),
        )
        for veid in (101, 102):
            (self.root(veid) / "wait").touch()
            process = self.start("update", "-q", "-p", veid)
            self.wait_for(self.root(veid) / "started")
            os.killpg(process.pid, signal.SIGKILL)
            process.communicate()
            (self.root(veid) / "wait").unlink()
            self.qxpkg("install", "-q", "-p", veid, "one")
        self.assertEqual(["ii one 1.0", "ii slow 1.1"], self.deb_state(101))
        self.assertEqual(["one 1.0", "slow 1.1"], self.rpm_state(102))

    def test_a_second_request_waits_and_says_for_whom(self):
        slow = "touch /started; while [ ! -e /go ]; do sleep 0.05; done"
        self.offer(packages().deb("slow", scripts={"postinst": slow}))
        first = self.start("install", "-q", "-p", 101, "slow")
        self.wait_for(self.root(101) / "started")
        timed_out = self.qxpkg("install", "-q", "--wait", "0.1", "-p", 101, "one", code=75)
        self.assertIn(f"pid {first.pid}", timed_out.stderr)
        self.assertIn("gave up waiting for a lock", timed_out.stderr.splitlines()[-1])
        second = self.start("install", "-q", "-p", 101, "one")
        line = second.stderr.readline()
        (self.root(101) / "go").touch()
        first.communicate()
        self.assertEqual("one all 1.0\n", second.communicate()[0])
        self.assertIn("waiting for", line)

    def small_root(self, veid):
        """Puts a container's root on a small file system of its own."""
        root = self.root(veid)
        kept = self.folder / f"kept-{veid}"
        root.rename(kept)
        root.mkdir()
        mounted = subprocess.run(
            ["mount", "-t", "tmpfs", "-o", "size=6m", "tmpfs", root], capture_output=True, text=True, check=False
        )
        if mounted.returncode != 0:
            self.skipTest(f"a small file system wants root: {mounted.stderr.strip()}")
        self.addCleanup(subprocess.run, ["umount", "-l", root], check=True)
        subprocess.run(["cp", "-a", f"{kept}/.", root], check=True)

    def test_a_full_disk_is_named_and_the_next_request_works(self):
        big = {"usr/share/big/file": "x" * (8 << 20)}
        self.offer(packages().deb("big", files=big), packages().rpm("big", files=big))
        for veid in (101, 102):
            self.small_root(veid)
            failed = self.qxpkg("install", "-q", "-p", veid, "big", code=1)
            self.assertRegex(failed.stderr, "(?i)no space left|space needed|needs .* on the")
            self.qxpkg("install", "-q", "-p", veid, "one")
        self.assertEqual(["ii one 1.0"], self.deb_state(101))
        self.assertEqual(["one 1.0"], self.rpm_state(102))

    def test_a_dead_repository_fails_with_its_name(self):
        self.os_template("tinydeb", "deb")
        for packaging in ("deb", "rpm"):
            subprocess.run(["rm", "-rf", self.repository(packaging)], check=True)
        for veid in (101, 102):
            failed = self.qxpkg("install", "-q", "-p", veid, "one", code=1)
            self.assertIn("repo-", failed.stderr)


@unittest.skipIf(ENGINES is not None, ENGINES)
class Fetching(ContainerTest):
    """The node's cache of downloaded packages."""

    def setUp(self):
        super().setUp()
        for name in ("tinydeb", "tinyrpm"):
            self.app_template(name, "second", ["two"])

    def fetched(self):
        """Names of the package files in the node's cache."""
        cache = self.node / "var/lib/qxagent/qxpkg/fetch"
        return sorted(p.name.split("_")[0].split("-")[0] for p in cache.rglob("*") if p.suffix in (".deb", ".rpm"))

    def test_fetched_packages_install_from_the_cache_only(self):
        self.qxpkg("fetch", "-q", "second")
        for file in self.repository("deb").glob("*.deb"):
            file.unlink()
        self.qxpkg("install", "-q", "-C", 101, "second")
        self.assertEqual(["ii one 1.0", "ii two 1.0"], self.deb_state(101))

    def test_without_a_fetch_the_cache_holds_nothing_to_install(self):
        self.qxpkg("install", "-q", "-C", 101, "second", code=1)
        self.assertEqual([], self.deb_state(101))

    def test_packages_of_an_rpm_folder_stay_where_they_are(self):
        self.qxpkg("fetch", "-q", "second")
        self.qxpkg("install", "-q", "-C", 102, "second")
        self.assertEqual(["one 1.0", "two 1.0"], self.rpm_state(102))

    def test_a_package_is_fetched_from_whoever_offers_it(self):
        self.offer(packages().deb("only"))
        self.qxpkg("fetch", "-q", "-p", "only")
        self.assertIn("only", self.fetched())

    def test_a_package_that_nobody_offers_is_named(self):
        failed = self.qxpkg("fetch", "-q", "-p", "nosuch", code=1)
        self.assertIn("no OS template offers package 'nosuch'", failed.stderr)

    def test_a_package_that_nobody_offers_is_told_without_the_reasons_of_others(self):
        self.offer(packages().deb("only"))
        failed = self.qxpkg("fetch", "-q", "-p", "only", "nosuch", code=1)
        self.assertNotIn("'only'", failed.stderr.splitlines()[-1])

    def test_clean_removes_the_packages_of_templates(self):
        self.qxpkg("fetch", "-q", "second")
        self.qxpkg("clean", "-q", "second")
        self.assertNotIn("two", self.fetched())
        self.assertIn("one", self.fetched())

    def test_clean_without_names_empties_the_cache(self):
        self.qxpkg("fetch", "-q", "-p")
        self.assertNotEqual([], self.fetched())
        self.qxpkg("clean", "-q", "-p")
        self.assertEqual([], self.fetched())

    def test_an_unknown_template_is_named(self):
        failed = self.qxpkg("fetch", "-q", "nosuch", code=1)
        self.assertEqual("template '.nosuch' is not on this node\n", failed.stderr)


if __name__ == "__main__":
    unittest.main()

"""The whole system from a shell: requests through the loaded plug-in on a real node directory."""

import fcntl
import json
import os
import pathlib
import select
import signal
import subprocess
import tarfile
import unittest
import xml.etree.ElementTree

from qxa_world import BIN, NodeTest


class Templates(NodeTest):
    """Standard templates on the node."""

    def test_installed_templates_are_listed_with_names_that_can_be_used_again(self):
        self.qxa("install", self.package("base"), self.package("web", kind="app", base="base"))
        self.assertEqual(["base/1", "web/1"], self.names())
        self.assertIn("summary of web", self.qxa("info", "web/1").stdout)
        self.qxa("remove", "web/1")
        self.assertEqual(["base/1"], self.names())

    def test_a_name_without_version_means_all_versions(self):
        self.qxa("install", self.package("base", "1"), self.package("base", "2"))
        self.assertEqual(["base/1", "base/2"], self.names("base"))

    def test_the_result_of_an_install_names_what_was_installed(self):
        document = json.loads(self.qxa("--format", "json", "install", self.package("base")).stdout)
        self.assertEqual("base/1", document["results"][0]["packages"][0]["name"])

    def test_a_version_that_is_there_already_is_a_conflict_unless_forced(self):
        file = self.package("base")
        self.qxa("install", file)
        result = self.qxa("install", file, code=5)
        self.assertIn("(code 3510)", result.stderr)
        self.qxa("install", "-f", file)

    def test_an_application_without_its_os_template_is_refused(self):
        result = self.qxa("install", self.package("web", kind="app", base="base"), code=5)
        self.assertIn("(code 3509)", result.stderr)
        self.assertEqual([], self.names())

    def test_a_list_with_one_bad_file_installs_nothing(self):
        bad = self.folder / "bad.tar.gz"
        bad.write_bytes(b"this is no archive at all")
        self.qxa("install", self.package("base"), bad, code=5)
        self.assertEqual([], self.names())

    def test_a_file_of_another_technology_is_an_unknown_collection(self):
        file = self.folder / "kr.tar"
        with tarfile.open(file, "w") as archive:
            manifest = self.folder / "template.toml"
            manifest.write_text('technology = "other"\nname = "x"\nversion = "1"\n')
            archive.add(manifest, "template.toml")
        result = self.qxa("install", file, code=5)
        self.assertIn("distributive collection contains either files of unsupported types", result.stderr)

    def test_archives_that_would_lead_out_are_refused(self):
        for name, change in {
            "dots": lambda info: setattr(info, "name", "root/../../evil"),
            "absolute": lambda info: setattr(info, "name", "/evil"),
            "device": lambda info: setattr(info, "type", tarfile.CHRTYPE),
        }.items():
            with self.subTest(name):
                result = self.qxa("install", self.unsafe_archive(name, change), code=5)
                self.assertIn("(code 3509)", result.stderr)
                self.assertEqual([], self.names())
        self.assertFalse((self.node / "evil").exists() or pathlib.Path("/evil").exists())

    def unsafe_archive(self, name, change):
        folder = self.source("base")
        file = self.folder / f"{name}.tar"
        with tarfile.open(file, "w") as archive:
            archive.add(folder / "template.toml", "template.toml")
            info = tarfile.TarInfo("root/file")
            change(info)
            archive.addfile(info)
        return file

    def test_a_name_where_files_are_wanted_is_wrong_usage(self):
        result = self.qxa("install", "base/1", code=2)
        self.assertIn("is not a template package file", result.stderr)
        self.assertIn("there is no file 'lost.tar.gz'", self.qxa("install", "lost.tar.gz", code=2).stderr)

    def test_asking_for_what_is_not_there_fails(self):
        self.assertIn("nothing matches 'nothing/1'", self.qxa("info", "nothing/1", code=1).stderr)

    def test_compatible_lists_what_goes_with_a_template(self):
        self.qxa(
            "install",
            self.package("base"),
            self.package("other"),
            self.package("web", kind="app", base="base"),
        )
        self.assertEqual(["base/1", "web/1"], self.names("--compatible", "base/1"))

    def test_types_select_kinds(self):
        self.qxa("install", self.package("base"), self.package("web", kind="app", base="base"))
        self.assertEqual(["base/1"], self.names("--type", "os"))
        self.assertEqual(["web/1"], self.names("--type", "app"))


class Containers(NodeTest):
    """Templates inside containers."""

    def setUp(self):
        super().setUp()
        self.qxa("install", self.package("base"), self.package("web", kind="app", base="base"))
        self.qxa("ct", "create", 101)
        self.qxa("install", "--ct", 101, "base/1")

    def test_an_application_comes_and_goes_without_a_trace(self):
        before = self.area(101)
        self.qxa("install", "--ct", 101, "web/1")
        self.assertEqual("web 1\n", self.seen(101, "usr/web/file"))
        self.assertEqual(["base/1", "web/1"], self.names("--ct", 101))
        self.qxa("remove", "--ct", 101, "web/1")
        self.assertEqual(before, self.area(101))

    def test_what_templates_bring_is_indexed_and_a_check_finds_it_clean(self):
        self.qxa("install", "--ct", 101, "web/1")
        self.assertIn("usr/web/._qxlnk_.", self.area(101))
        self.assertNotIn("usr/web/file", self.area(101))
        self.qxfsutil("check", "-n", self.node / "qx/private/101")
        self.qxa("remove", "--ct", 101, "web/1")
        self.qxa("remove", "--ct", 101, "base/1")
        self.qxfsutil("check", "-n", self.node / "qx/private/101")
        self.assertEqual({}, self.area(101))

    def test_a_file_that_the_container_changed_stays(self):
        self.qxa("install", "--ct", 101, "web/1")
        changed = self.node / "qx/private/101/root/usr/web/file"
        changed.write_text("the container's own")
        self.qxa("remove", "--ct", 101, "web/1")
        self.assertEqual("the container's own", changed.read_text())

    def test_a_template_in_use_is_not_removed_from_the_node(self):
        result = self.qxa("remove", "base/1", code=5)
        self.assertIn("some Containers use package(s) base/1", result.stderr)
        self.assertEqual(["base/1", "web/1"], self.names())

    def test_an_unknown_container_is_an_unknown_target(self):
        self.qxa("list", "--ct", 999, code=4)
        self.qxa("list", "--eid", "00000000-1111-2222-3333-444444444444", code=4)

    def test_a_list_of_no_containers_is_no_target(self):
        self.assertIn("no container was named", self.qxa("list", "--ct", ",", code=4).stderr)

    def test_containers_of_others_are_unknown_targets(self):
        other = "00000000-1111-2222-3333-444444444444"
        self.qxa("ct", "create", 102, "--parent", other)
        self.qxa("ct", "create", 103, "--technology", "other")
        self.assertIn("not a local environment", self.qxa("list", "--ct", 102, code=4).stderr)
        self.assertIn("non-QX environments are not supported", self.qxa("list", "--ct", 103, code=4).stderr)

    def test_a_broken_configuration_costs_that_container_only(self):
        (self.node / "etc/sysconfig/qx-scripts/102.conf").write_text('EID="no eid"\nVE_PRIVATE\n')
        containers = json.loads(self.qxa("--format", "json", "ct", "list").stdout)["containers"]
        self.assertEqual([101], [container["ct"] for container in containers])
        self.assertIn("base/1", self.names("--ct", 101))

    def test_packages_of_another_kind_are_refused_by_name(self):
        result = self.qxa("install", "--ct", 101, ".kr/app", code=5)
        self.assertIn("packages .app (OS .kr) cannot be installed into Container", result.stderr)

    def test_several_containers_are_served_in_one_call(self):
        self.qxa("ct", "create", 102)
        self.qxa("install", "--all-ct", "-j", 2, "base/1", "-f")
        result = self.run_qxa("--format", "json", "list", "--ct", "101,102,999")
        self.assertEqual(4, result.returncode)
        outcomes = {each["target"]: each["exit"] for each in json.loads(result.stdout)["results"]}
        self.assertEqual({"101": 0, "102": 0, "999": 4}, outcomes)

    def test_a_listener_hears_of_changes(self):
        listener = subprocess.Popen(
            [BIN / "qxa", "--node-dir", self.node, "--format", "json", "-v", "events", "--count", "1"],
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            text=True,
        )
        self.addCleanup(listener.kill)
        self.assertEqual("qxa: listening\n", listener.stderr.readline())
        self.qxa("install", "--ct", 101, "web/1")
        heard, _ = listener.communicate(timeout=30)
        self.assertEqual(101, json.loads(heard)["ct"])

    def test_a_destroyed_container_is_gone(self):
        self.qxa("ct", "destroy", 101)
        self.assertFalse((self.node / "qx/private/101").exists())
        self.qxa("ct", "show", 101, code=4)
        self.qxa("remove", "base/1", "web/1")

    def test_a_new_container_starts_from_the_cache_of_its_os_template(self):
        self.qxa("update", "base/1")
        self.qxa("ct", "create", 102, "--os", "base/1")
        self.assertEqual("base 1\n", self.seen(102, "usr/base/file"))
        self.qxfsutil("check", "-n", self.node / "qx/private/102")
        self.assertEqual(["base/1"], self.names("--ct", 102))


class Commands(NodeTest):
    """What holds for every command."""

    def test_wrong_usage_is_its_own_exit_code(self):
        self.qxa("no-such-command", code=2)
        self.qxa("install", code=2)
        self.qxa("--format", "yaml", "list", code=2)

    def test_what_has_no_form_in_xml_is_shown_in_no_other(self):
        for words in (["ct", "list"], ["history"], ["events"]):
            refused = self.qxa("--format", "xml", *words, code=2)
            self.assertEqual(("", "qxa: --format: only packages can be printed as XML\n"), (refused.stdout, refused.stderr))

    def test_help_shows_examples(self):
        self.assertIn("Example: qxa install", self.qxa("install", "--help").stdout)

    def test_a_failure_is_a_json_record_on_standard_error(self):
        result = self.qxa("--format", "json", "list", "--ct", 9, code=4)
        record = json.loads(result.stderr)
        self.assertEqual(("9", "list", 4), (record["target"], record["operation"], record["exit"]))

    def test_records_can_be_had_as_a_message(self):
        self.qxa("install", self.package("base"))
        document = xml.etree.ElementTree.fromstring(self.qxa("--format", "xml", "list").stdout)
        self.assertIn("package_std_qxtemplateType", xml.etree.ElementTree.tostring(document, "unicode"))

    def test_texts_that_are_no_utf8_break_no_output(self):
        folder = self.source("base")
        with open(folder / "root" / os.fsdecode(b"caf\xe9"), "w", encoding="utf-8") as file:
            file.write("x")
        self.qxa("install", self.packed(folder))
        self.qxa("ct", "create", 101)
        self.qxa("install", "--ct", 101, "base/1")
        self.assertEqual(["base/1"], self.names("--ct", 101))

    def packed(self, folder):
        file = self.folder / "packed.tar"
        self.qxa("template", "pack", folder, file)
        return file

    def test_packing_twice_gives_the_same_bytes(self):
        folder = self.source("base")
        first = self.packed(folder).read_bytes()
        self.assertEqual(first, self.packed(folder).read_bytes())

    def test_the_history_tells_what_was_asked_and_what_came_of_it(self):
        self.qxa("install", self.package("base"))
        self.qxa("remove", "other/1", code=1)
        requests = json.loads(self.qxa("--format", "json", "history").stdout)["requests"]
        self.assertEqual(["install", "remove"], [each["operation"] for each in requests])
        self.assertEqual(["base/1"], requests[0]["after"])
        self.assertEqual(0, requests[0]["code"])
        self.assertNotEqual(0, requests[1]["code"])

    def test_a_writer_does_not_wait_longer_than_it_is_told(self):
        self.qxa("install", self.package("base"))
        lock = next(self.node.joinpath("qx/template").glob(".*lock*"))
        with open(lock, "r+", encoding="utf-8") as held:
            fcntl.flock(held, fcntl.LOCK_EX)
            self.qxa("--wait", 0, "install", self.package("web", kind="app", base="base"), code=6)
        self.qxa("--wait", 0, "install", self.package("web", kind="app", base="base"))

    def test_who_sits_at_a_terminal_is_told_for_whom_a_request_waits(self):
        self.qxa("install", self.package("base"))
        lock = next(self.node.joinpath("qx/template").glob(".*lock*"))
        ours, theirs = os.openpty()
        with open(lock, "r+", encoding="utf-8") as held, open(ours, "rb", buffering=0) as terminal:
            fcntl.flock(held, fcntl.LOCK_EX)
            waiting = subprocess.Popen(
                [BIN / "qxa", "--node-dir", self.node, "remove", "base/1"], stderr=theirs, stdout=subprocess.DEVNULL
            )
            os.close(theirs)
            told = b""
            # What the request is comes first, and may come alone.
            while b"another process" not in told and select.select([terminal], [], [], 30)[0]:
                told += terminal.read(4096)
            fcntl.flock(held, fcntl.LOCK_UN)
            self.assertEqual(0, waiting.wait(timeout=30))
        self.assertIn(b"qxa: waiting for '/qx/template/.lock', held by another process", told)

    def test_readers_take_no_lock(self):
        self.qxa("install", self.package("base"))
        lock = next(self.node.joinpath("qx/template").glob(".*lock*"))
        with open(lock, "r+", encoding="utf-8") as held:
            fcntl.flock(held, fcntl.LOCK_EX)
            self.assertEqual(["base/1"], self.names())

    def test_two_installs_at_once_both_happen(self):
        files = [self.package(f"t{number}") for number in range(6)]
        running = [
            subprocess.Popen(
                [BIN / "qxa", "--node-dir", self.node, "install", file],
                stdout=subprocess.DEVNULL,
                stderr=subprocess.DEVNULL,
            )
            for file in files
        ]
        self.assertEqual([0] * 6, [each.wait(timeout=60) for each in running])
        self.assertEqual([f"t{number}/1" for number in range(6)], self.names())

    def test_an_interrupted_command_says_so(self):
        process = subprocess.Popen(
            [BIN / "qxa", "--node-dir", self.node, "-v", "events"], stderr=subprocess.PIPE, text=True
        )
        self.assertEqual("qxa: listening\n", process.stderr.readline())
        process.send_signal(signal.SIGINT)
        self.assertEqual(130, process.wait(timeout=30))
        process.stderr.close()

    def test_completion_is_written_for_each_shell(self):
        for shell in ("bash", "zsh", "fish"):
            self.assertIn("install", self.qxa("completion", shell).stdout)


@unittest.skipUnless(os.getuid() == 0, "another user can only be taken on by root")
class Denied(NodeTest):
    """Requests of a user without rights."""

    def as_nobody(self, *words):
        self.folder.chmod(0o755)
        script = 'import os, sys; os.setgroups([]); os.setgid(65534); os.setuid(65534); os.execv(sys.argv[1], sys.argv[1:])'
        return subprocess.run(
            ["python3", "-c", script, str(BIN / "qxa"), "--node-dir", str(self.node), *map(str, words)],
            capture_output=True,
            text=True,
            check=False,
        )

    def test_nobody_may_anything_without_a_rule(self):
        if os.access(BIN, os.X_OK) and not os.stat(BIN).st_mode & 0o005:
            self.skipTest(f"{BIN} cannot be reached by another user")
        result = self.as_nobody("list")
        if "Permission denied" in result.stderr:
            self.skipTest(f"the build tree cannot be reached by another user: {result.stderr.strip()}")
        self.assertEqual(3, result.returncode, result.stderr)
        self.assertIn("access denied (code 414)", result.stderr)


if __name__ == "__main__":
    unittest.main()

"""qxfsutil as an operator has it: what is refused, how it ends, and what programs read of it."""

import fcntl
import json
import os
import pathlib
import pty
import select
import shutil
import signal
import subprocess
import tempfile
import unittest

import qxa_world

QXFSUTIL = pathlib.Path(os.environ["QX_BIN"]) / "qxfsutil"
CLEAN, CORRECTED, ERRORS_LEFT, OPERATIONAL, USAGE, CANCELLED = 0, 1, 4, 8, 16, 32
LINK = "////os/1/root/bin/sh"


class Operator(unittest.TestCase):
    """A private area with one shortcut, and its template area."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="qxfsutil-")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.area = self.folder / "area"
        self.root = self.area / "root"
        self.template = self.folder / "template/os/1/root/bin/sh"
        self.template.parent.mkdir(parents=True)
        self.template.write_text("shell\n")
        self.shortcut("bin/sh", LINK)

    def shortcut(self, name: str, link: str) -> pathlib.Path:
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(link)
        path.chmod(0o1644)
        return path

    def run_tool(self, *words, status=CLEAN):
        ended = subprocess.run(
            [QXFSUTIL, "--template-root", self.folder / "template", *words],
            stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False,
        )
        self.assertEqual(status, ended.returncode, ended.stdout + ended.stderr)
        return ended

    def answer(self, answers, *words, status) -> str:
        """Runs the tool on a terminal, answers each question when it is shown; what the terminal shows.

        An answer is a text to type, or a signal to send.
        """
        terminal, end = pty.openpty()
        tool = subprocess.Popen(
            [QXFSUTIL, "--template-root", self.folder / "template", *words], stdin=end, stdout=end, stderr=end
        )
        self.addCleanup(tool.kill)
        os.close(end)
        shown, answered = "", 0
        try:
            while piece := os.read(terminal, 4096) if select.select([terminal], [], [], 10)[0] else b"":
                shown += piece.decode()
                if answered < min(shown.count(">? "), len(answers)):
                    answer = answers[answered]
                    answered += 1
                    if isinstance(answer, signal.Signals):
                        tool.send_signal(answer)
                    else:
                        os.write(terminal, answer.encode())
        except OSError:  # how a terminal says that its other end is closed
            pass
        finally:
            os.close(terminal)
        self.assertEqual(status, tool.wait(timeout=10), shown)
        return shown

    def objects(self, *words, status=CLEAN):
        return [json.loads(line) for line in self.run_tool("--json", *words, status=status).stdout.splitlines()]


class Restoring(Operator):
    def test_needs_no_template_area(self):
        lost = self.area / "lost_files/root/bin/own"
        lost.parent.mkdir(parents=True)
        lost.write_text("own\n")
        (self.folder / "template").rename(self.folder / "away")

        self.run_tool("restore", self.area, "/bin/own")

        self.assertEqual("own\n", (self.root / "bin/own").read_text())


class Refusals(Operator):
    def test_commands_on_areas_want_one(self):
        for command in ("check", "index", "used", "missing"):
            with self.subTest(command):
                self.assertIn("AREA, --ct or --all-ct is required", self.run_tool(command, status=USAGE).stderr)

    def test_a_container_without_configuration_is_an_operational_failure(self):
        said = self.run_tool("check", "--ct", "2147483646", status=OPERATIONAL).stderr
        self.assertIn("qxfsutil: container 2147483646: cannot read ", said)
        self.assertIn("No such file or directory", said)

    def test_a_word_behind_containers_is_an_area(self):
        said = self.run_tool("check", "--ct", "2147483645,2147483646", self.area, status=OPERATIONAL).stderr
        self.assertIn("qxfsutil: container 2147483645: ", said)

    def test_modes_of_a_check_exclude_each_other(self):
        for modes in (("-n", "-y"), ("-p", "-y"), ("-n", "-p")):
            with self.subTest(modes):
                self.run_tool("check", *modes, self.area, status=USAGE)

    def test_an_undo_record_is_either_wanted_or_not(self):
        self.run_tool("check", "-y", "--undo", self.folder / "undo", "--no-undo", self.area, status=USAGE)

    def test_one_undo_record_is_not_for_several_areas(self):
        self.run_tool("check", "-y", "--undo", self.folder / "undo", self.area, self.root, status=USAGE)

    def test_an_index_file_is_not_repaired_by_itself(self):
        self.run_tool("-q", "index", self.area)
        said = self.run_tool("check", "-y", self.root / "bin/._qxlnk_.", status=USAGE).stderr
        self.assertIn("name its area to repair", said)

    def test_a_text_that_is_no_index_fails_with_its_line(self):
        text = self.folder / "text"
        text.write_text("qxdirindex 1\nnonsense\n")
        self.assertIn("line 2: ", self.run_tool("build", text, status=OPERATIONAL).stderr)

    def test_a_link_that_leads_out_of_the_template_area_is_not_shown(self):
        (self.folder / "secret").write_text("secret")
        self.shortcut("bin/out", "////../secret")
        said = self.run_tool("cat", self.area, "/bin/out", status=OPERATIONAL)
        self.assertEqual("", said.stdout)
        self.assertIn("leads out of the template area", said.stderr)


class Programs(Operator):
    """Every command that has something to tell answers in JSON when asked to."""

    def test_template_files_in_use(self):
        wanted = [{"template": str(self.template)}]
        self.assertEqual(wanted, self.objects("used", self.area))
        self.template.unlink()
        self.assertEqual(wanted, self.objects("missing", self.area, status=ERRORS_LEFT))

    def test_the_table_of_findings(self):
        kinds = {kind["finding"]: kind for kind in self.objects("findings")}
        self.assertTrue(kinds["mark-missing"]["preen"])
        self.assertEqual("error", kinds["link-lost"]["severity"])

    def test_a_repair_and_its_undoing(self):
        self.run_tool("-q", "index", self.area)
        (self.root / "bin").chmod(0o755)
        record = self.objects("check", "-p", self.area, status=CORRECTED)[-1]["summary"]["undoRecord"]
        self.assertEqual(
            [{"area": os.path.realpath(self.area), "undone": 1}], self.objects("undo", record)
        )

    def test_a_clone(self):
        self.shortcut("bin/ls", "////vc/aaaa/ls")
        self.assertEqual(
            [{"area": str(self.area), "changed": 1}], self.objects("clone", self.area, "aaaa", "bbbb")
        )
        self.assertEqual("////vc/bbbb/ls", (self.root / "bin/ls").read_text())

    def test_a_failure(self):
        said = self.run_tool("--json", "check", self.folder / "none", status=OPERATIONAL).stderr
        self.assertEqual("No such file or directory", json.loads(said)["message"])


class Trees(Operator):
    """An area that is no private area: any tree."""

    def test_the_undo_record_lies_beside_and_not_in_the_tree(self):
        self.run_tool("-q", "index", self.root)
        (self.root / "bin").chmod(0o755)

        self.run_tool("check", "-p", self.root, status=CORRECTED)

        self.assertEqual({"._qxlnk_.", "bin"}, {path.name for path in self.root.iterdir()})
        [record] = self.area.glob("root.undo-*.qxundo")
        self.run_tool("undo", record)
        self.assertEqual(0o755, (self.root / "bin").stat().st_mode & 0o7777)


class Several(Operator):
    def test_on_a_terminal_the_repairs_of_each_area_are_asked_for(self):
        other = self.folder / "other"
        (other / "root/bin").mkdir(parents=True)
        for area in (self.area, other):
            (area / "root/bin").chmod(0o4755)
        shown = self.answer(
            ("y\n", "n\n"), "check", "--no-undo", self.area, other, status=CORRECTED | ERRORS_LEFT
        )
        self.assertEqual(2, shown.count("('Y'/'N')<n>? "), shown)
        self.assertEqual(0o755, (self.root / "bin").stat().st_mode & 0o7777)
        self.assertEqual(0o4755, (other / "root/bin").stat().st_mode & 0o7777)

    def test_areas_are_checked_at_once_and_told_in_their_order(self):
        other = self.folder / "other"
        (other / "root").mkdir(parents=True)
        said = self.run_tool("check", "-j", "2", self.area, other).stdout.splitlines()
        self.assertEqual([str(self.area), str(other)], [line.split(": ")[0] for line in said])

    def test_exit_codes_of_all_areas_are_combined(self):
        other = self.folder / "other"
        (other / "root/lib").mkdir(parents=True)
        (other / "root/lib").chmod(0o4755)
        self.shortcut("bin/sh", "////gone/1/root/bin/sh")
        self.run_tool("check", "-y", self.area, other, status=CORRECTED | ERRORS_LEFT)

    def test_what_belongs_to_a_missing_template_is_dropped_only_when_asked_for(self):
        link = self.shortcut("bin/sh", "////gone/1/root/bin/sh")
        self.run_tool("check", "-y", self.area, status=ERRORS_LEFT)
        self.assertTrue(link.exists())
        self.run_tool("check", "-y", "--drop-missing-templates", self.area, status=CORRECTED)
        self.assertFalse(link.exists())

    def test_attributes_are_set_only_when_asked_for(self):
        link = self.root / "bin/sh"
        link.chmod(0o1600)
        for words, mode in (("-n",), 0o600), (("-y",), 0o600), (("-y", "--attributes"), 0o644):
            with self.subTest(words):
                self.run_tool("check", *words, self.area, status=CORRECTED if mode == 0o644 else CLEAN)
                self.assertEqual(mode, link.stat().st_mode & 0o777)

    def test_an_area_that_cannot_be_opened_does_not_keep_others_from_being_checked(self):
        said = self.run_tool("check", self.folder / "none", self.area, status=OPERATIONAL)
        self.assertIn(f"{self.area}: ", said.stdout)


class Questions(Operator):
    """Two directories that wrongly say that they have an index."""

    def setUp(self):
        super().setUp()
        self.marked = [self.root / "bin", self.root / "lib"]
        for directory in self.marked:
            directory.mkdir(exist_ok=True)
            directory.chmod(0o4755)

    def left(self) -> int:
        return sum(1 for directory in self.marked if directory.stat().st_mode & 0o4000)

    def test_the_end_of_input_answers_no_to_this_and_all_later_ones(self):
        self.answer(("\x04", "y\n"), "check", "--no-undo", self.area, status=ERRORS_LEFT)
        self.assertEqual(2, self.left())

    def test_an_answer_that_input_ended_in_is_none(self):
        self.answer(("y\x04\x04",), "check", "--no-undo", self.area, status=ERRORS_LEFT)
        self.assertEqual(2, self.left())

    def test_a_signal_ends_the_check_and_keeps_what_was_found(self):
        for sent in (signal.SIGINT, signal.SIGTERM):
            with self.subTest(sent):
                shown = self.answer(
                    (sent,), "check", "--no-undo", self.area, status=ERRORS_LEFT | CANCELLED
                )
                self.assertEqual(2, self.left())
                self.assertIn("; a repair would: ", shown)
                self.assertIn("cancelled; the rest was not looked at", shown)


class Names(Operator):
    def test_an_empty_index_is_damaged_for_every_command(self):
        index = self.folder / "._qxlnk_."
        index.touch()
        for command in ("check", "dump", "stat"):
            with self.subTest(command):
                self.run_tool(command, index, status=ERRORS_LEFT)

    def test_an_index_whose_links_lead_out_of_the_template_area_is_damaged(self):
        text, index = self.folder / "text", self.folder / "index"
        text.write_text('qxdirindex 1\nentry 8 5 "x" -> "////../etc"\n')
        self.run_tool("build", "-o", index, text)
        self.assertIn("leads out", self.run_tool("check", index, status=ERRORS_LEFT).stdout)

    def test_a_template_file_that_cannot_be_looked_at_is_not_said_to_be_gone(self):
        self.run_tool("-q", "index", self.area)
        self.folder.chmod(0o755)
        self.template.parent.chmod(0)
        self.addCleanup(self.template.parent.chmod, 0o755)
        try:
            ended = subprocess.run(
                [QXFSUTIL, "check", "--root", self.folder / "template", self.root / "bin/._qxlnk_."],
                capture_output=True, text=True, check=False, user=65534 if os.geteuid() == 0 else None,
            )
        except PermissionError:
            self.skipTest("another user cannot start the command here")
        self.assertEqual(OPERATIONAL, ended.returncode, ended.stdout + ended.stderr)
        self.assertIn("Permission denied", ended.stderr)

    def test_a_failure_is_one_line_whatever_the_name_holds(self):
        said = self.run_tool("check", self.folder / "a\033[2J\nb", status=OPERATIONAL).stderr
        self.assertIn("/a\\x1b[2J\\x0ab: ", said)
        self.assertEqual(1, said.count("\n"))

    def test_listings_in_json_tell_names_apart_that_are_no_text(self):
        names = (b"\xff", b"\xfe", b"\\xff")
        for name in names:
            pathlib.Path(os.fsdecode(os.fsencode(self.root) + b"/" + name)).touch()
        seen = {entry["name"] for entry in self.objects("ls", self.area, "/")}
        self.assertLessEqual({"\\xff", "\\xfe", "\\\\xff"}, seen)


class Completion(Operator):
    def test_is_shown_in_percent_when_asked_for(self):
        self.assertEqual("", self.run_tool("check", self.area).stderr)
        said = self.run_tool("check", "-C", self.area).stderr.splitlines()
        self.assertEqual(f"{self.area}: 100%", said[-1])


class Containers(qxa_world.NodeTest):
    """Containers of a node directory, made by hand: 101 is sound, 102 has a finding to repair."""

    def setUp(self):
        super().setUp()
        self.configurations = self.node / "etc/sysconfig/qx-scripts"
        for veid in (101, 102):
            (self.configurations / f"{veid}.conf").write_text("OSTEMPLATE=\"os\"\n")
            (self.node / f"qx/private/{veid}/root/bin").mkdir(parents=True)
        self.marked = self.node / "qx/private/102/root/bin"
        self.marked.chmod(0o4755)

    def run_tool(self, *words, status=CLEAN, **variables):
        ended = subprocess.run(
            [QXFSUTIL, *words], stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False,
            env=os.environ | {"QXA_NODE_DIR": str(self.node)} | variables,
        )
        self.assertEqual(status, ended.returncode, ended.stdout + ended.stderr)
        return ended

    def lock(self, veid: int, how: int):
        lock = open(self.configurations / f".{veid}.lock", "w", encoding="utf-8")
        self.addCleanup(lock.close)
        fcntl.flock(lock, how)
        lock.write("pid 7 (somebody) since today\n")
        lock.flush()
        return lock

    def test_of_a_node_directory_are_found_by_option_and_by_variable(self):
        self.assertIn("/qx/private/101: ", self.run_tool("check", "--ct", "101").stdout)
        said = self.run_tool("--node-dir", self.node, "check", "--ct", "101", QXA_NODE_DIR="").stdout
        self.assertIn("/qx/private/101: ", said)
        self.run_tool("--node-dir", self.folder, "check", "--ct", "101", status=OPERATIONAL)

    def test_are_all_checked_at_once(self):
        said = self.run_tool("check", "-n", "--all-ct", "-j", "2", status=ERRORS_LEFT).stdout
        self.assertEqual(
            ["/qx/private/101", "/qx/private/102", "/qx/private/102"],
            [line.split(": ")[0] for line in said.splitlines()],
        )
        self.run_tool("check", "-y", "--all-ct", "-j", "2", status=CORRECTED)
        self.run_tool("check", "-n", "--all-ct", status=CLEAN)

    def test_none_are_no_error(self):
        for configuration in self.configurations.glob("*.conf"):
            configuration.unlink()
        self.run_tool("check", "--all-ct")

    def test_are_not_changed_while_somebody_holds_their_lock(self):
        self.lock(102, fcntl.LOCK_SH)
        commands = (
            ("check", "-p", "--ct", "102"), ("check", "-p", "/qx/private/102"),
            ("check", "-p", "/qx/private/102/root"), ("index", "--ct", "102"),
            ("restore", "/qx/private/102", "/bin/x"), ("clone", "/qx/private/102", "a", "b"),
        )
        for command in commands:
            with self.subTest(command):
                said = self.run_tool("--wait", "0", *command, status=OPERATIONAL).stderr
                self.assertIn("is held by pid 7 (somebody) since today", said)
        self.assertTrue(self.marked.stat().st_mode & 0o4000)

    def test_are_only_looked_at_together(self):
        self.lock(102, fcntl.LOCK_SH)
        self.run_tool("check", "-n", "--ct", "102", status=ERRORS_LEFT, QX_LOCK_WAIT="0")
        self.lock(101, fcntl.LOCK_EX)
        self.run_tool("check", "-n", "--ct", "101", status=OPERATIONAL, QX_LOCK_WAIT="0")

    def test_repairs_are_undone_under_the_lock(self):
        said = self.run_tool("--json", "check", "-y", "--ct", "102", status=CORRECTED).stdout
        record = json.loads(said.splitlines()[-1])["summary"]["undoRecord"]
        lock = self.lock(102, fcntl.LOCK_EX)
        self.run_tool("--wait", "0", "undo", record, status=OPERATIONAL)
        lock.close()
        self.run_tool("undo", record)
        self.assertTrue(self.marked.stat().st_mode & 0o4000)

    def test_whose_last_change_was_interrupted_are_named(self):
        state = self.node / "qx/private/101/.qxtemplates"
        state.mkdir()
        (state / "plain").touch()
        said = self.run_tool("check", "--ct", "101").stderr
        self.assertIn("/qx/private/101: a change of this container's templates was interrupted", said)

    def test_that_are_missing_do_not_keep_others_from_being_checked(self):
        shutil.rmtree(self.node / "qx/private/101")
        said = self.run_tool("check", "-y", "--all-ct", status=CORRECTED | OPERATIONAL)
        self.assertIn("/qx/private/101: '/qx/private/101' is no directory: No such file or directory", said.stderr)
        self.assertIn("/qx/private/102: ", said.stdout)

    def test_have_quotas_in_a_node_directory_too(self):
        for words, variable in ((("--node-dir", self.node), ""), ((), str(self.node))):
            with self.subTest(words):
                shown = subprocess.run(
                    [QXFSUTIL.parent / "qxquota", *words, "stat", "101"], capture_output=True, text=True,
                    check=False, env=os.environ | {"QXA_NODE_DIR": variable},
                )
                self.assertEqual(0, shown.returncode, shown.stderr)
                self.assertIn("inodes", shown.stdout)


if __name__ == "__main__":
    unittest.main()

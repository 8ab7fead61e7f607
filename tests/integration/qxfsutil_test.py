"""qxfsutil as an operator has it: what is refused, how it ends, and what programs read of it."""

import json
import os
import pathlib
import pty
import select
import subprocess
import tempfile
import unittest

QXFSUTIL = pathlib.Path(os.environ["QX_BIN"]) / "qxfsutil"
CLEAN, CORRECTED, ERRORS_LEFT, OPERATIONAL, USAGE = 0, 1, 4, 8, 16
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
        """Runs the tool on a terminal, answers each question when it is shown; what the terminal shows."""
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
                    os.write(terminal, answers[answered].encode() + b"\n")
                    answered += 1
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
                self.assertIn("AREA or --ct is required", self.run_tool(command, status=USAGE).stderr)

    def test_a_container_without_configuration_is_an_operational_failure(self):
        said = self.run_tool("check", "--ct", "2147483646", status=OPERATIONAL).stderr
        self.assertIn("qxfsutil: container 2147483646: Can't stat ", said)
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
        shown = self.answer(("y", "n"), "check", "--no-undo", self.area, other, status=ERRORS_LEFT)
        self.assertEqual(2, shown.count("('Y'/'N')<y>? "), shown)
        self.assertEqual(0o755, (self.root / "bin").stat().st_mode & 0o7777)
        self.assertEqual(0o4755, (other / "root/bin").stat().st_mode & 0o7777)

    def test_areas_are_checked_at_once_and_told_in_their_order(self):
        other = self.folder / "other"
        (other / "root").mkdir(parents=True)
        said = self.run_tool("check", "-j", "2", self.area, other).stdout.splitlines()
        self.assertEqual([str(self.area), str(other)], [line.split(": ")[0] for line in said])


if __name__ == "__main__":
    unittest.main()

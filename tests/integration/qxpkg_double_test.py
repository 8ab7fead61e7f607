"""What the plug-in makes of a KR tool: one of the test's own stands on PATH, which writes down how it was called and
does as it is told."""

import functools
import json
import os
import shlex
import signal

from qxa_world import NodeTest


class Tool(NodeTest):
    """Node with an OS template ".tiny", of which container 101 is made."""

    def setUp(self):
        super().setUp()
        self.bin = self.folder / "bin"
        self.bin.mkdir()
        before = os.environ["PATH"]
        self.addCleanup(os.environ.update, PATH=before)
        os.environ["PATH"] = f"{self.bin}:{before}"
        self.calls = self.folder / "calls"
        self.template("tiny", "os", 'packaging = "deb"\n')
        (self.node / "etc/sysconfig/qx-scripts/101.conf").write_text(
            'VE_PRIVATE="/qx/private/$VEID"\nOSTEMPLATE=".tiny"\nTEMPLATES=""\n'
            'EID="00000000-0000-4000-8000-000000000101"\n'
        )
        self.tool("")

    def template(self, name, kind, rest):
        """Registers an OS template or an application of ".tiny"."""
        folder = self.node / "qx/template/kr/tiny"
        path = folder / ("template.toml" if kind == "os" else f"app/{name}.toml")
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(f'technology = "kr"\nkind = "{kind}"\nname = "{name}"\n{rest}')

    def tool(self, script):
        """The tool writes its words down and goes on with `script`."""
        tool = self.bin / "qxpkg"
        tool.write_text(
            f"#!/bin/sh\n{{ for word; do printf '[%s]' \"$word\"; done; echo; }} >>{shlex.quote(str(self.calls))}\n"
            f"{script}\n"
        )
        tool.chmod(0o755)

    def called(self):
        """The command lines since the last time this was asked."""
        lines = self.calls.read_text().splitlines() if self.calls.exists() else []
        self.calls.unlink(missing_ok=True)
        return lines

    def installed(self, output):
        """Name and version of each record of an installation whose tool prints `output`."""
        (self.folder / "output").write_bytes(output)
        self.tool(f"cat {shlex.quote(str(self.folder / 'output'))}")
        document = json.loads(self.qxa("--format", "json", "install", "--ct", 101, "x").stdout)
        return [(package["name"], package.get("version", "")) for package in document["results"][0]["packages"]]

    def test_a_container_is_served_by_one_command_a_kind(self):
        self.template("web", "app", 'os = "tiny"\n')
        self.qxa("install", "--ct", 101, "one", ".tiny/web", "two")
        self.qxa("update", "--ct", 101, "one")
        self.qxa("remove", "--ct", 101, "two", "one")
        self.assertEqual(
            ["[install][-q][101][.web]", "[install][-q][-p][101][one][two]", "[update][-q][-p][101][one]",
             "[remove][-q][-p][101][two][one]"],
            self.called(),
        )

    def test_each_option_has_its_switch(self):
        self.qxa("install", "-f", "-n", "--ct", 101, "one")
        self.assertEqual(["[install][-q][-n][-f][-p][101][one]"], self.called())

    def test_an_empty_update_of_a_container_names_nothing(self):
        self.qxa("update", "--ct", 101)
        self.assertEqual(["[update][-q][-p][101]"], self.called())

    def test_the_node_is_served_without_a_number(self):
        self.qxa("fetch")
        self.qxa("clean", ".tiny")
        self.assertEqual(["[fetch][-q][-p]", "[clean][-q][.tiny]"], self.called())

    def test_an_os_template_that_a_file_brought_gets_its_cache(self):
        file = self.folder / "tiny.tar"
        file.touch()
        self.tool('[ "$2" != template ] || printf "other web\\nother template\\n"')
        self.qxa("install", file)
        self.assertEqual([f"[install][template][-q][{file}]", "[create][cache][-q][.other]"], self.called())

    def test_lines_end_at_a_line_feed_or_at_the_end(self):
        self.assertEqual([("a", "1"), ("b", "2")], self.installed(b"a x 1\nb x 2"))

    def test_empty_lines_and_headings_are_no_packages(self):
        self.assertEqual([("a", "1")], self.installed(b"\n \t\nInstalled:\n\ta\tx   1  rest\nNothing else:"))

    def test_a_line_without_a_version_is_a_package(self):
        self.assertEqual([("a", ""), ("b", "")], self.installed(b"a\nb x\n"))

    def test_a_line_ends_for_its_reader_at_a_nul(self):
        self.assertEqual([("a", ""), ("b", "2")], self.installed(b"a\0 x 1\n\0c x 1\nb x 2\n"))

    def test_a_long_line_is_one_package(self):
        name = b"a" * 300_000
        self.assertEqual([(name.decode(), "1")], self.installed(name + b" x 1\n"))

    def test_the_last_line_on_standard_error_is_the_reason(self):
        self.tool("echo 'b x 2'; printf 'first\\nthe reason\\n\\n' >&2; exit 5")
        failed = self.run_qxa("install", "--ct", 101, "one")
        self.assertIn("' qxpkg install -q -p 101 one' exec failed - the reason", failed.stderr)
        self.assertIn("code 3501", failed.stderr)

    def test_a_refusal_of_the_tool_is_a_conflict(self):
        self.tool("exit 27")
        failed = self.run_qxa("install", "--ct", 101, "one")
        self.assertIn("' qxpkg install -q -p 101 one' exec failed - exited with code 27", failed.stderr)
        self.assertIn("code 3510", failed.stderr)

    def test_a_tool_that_is_killed_fails(self):
        self.tool("echo 'one x 1'; kill -9 $$")
        failed = self.run_qxa("install", "--ct", 101, "one")
        self.assertIn("exec failed - killed by signal 9 (Killed)", failed.stderr)
        self.assertIn("code 3501", failed.stderr)

    def test_a_caller_who_ignores_its_children_gets_the_tools_result(self):
        self.tool("exit 27")
        ignore = functools.partial(signal.signal, signal.SIGCHLD, signal.SIG_IGN)
        failed = self.run_qxa("install", "--ct", 101, "one", preexec_fn=ignore)
        self.assertIn("code 3510", failed.stderr)

    def test_a_tool_that_cannot_be_started_fails(self):
        (self.bin / "qxpkg").write_bytes(b"\0no program")
        failed = self.run_qxa("install", "--ct", 101, "one")
        self.assertIn("exec failed - cannot start 'qxpkg': Exec format error", failed.stderr)
        self.assertIn("code 3501", failed.stderr)

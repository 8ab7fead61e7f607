"""Every example of the manual pages works, on a node of its own.

The examples run in a root of their own in which a node directory lies at the real paths. The scene
that they start from: templates base/1 and web/1 on the node, the container 101 with base/1, and in
the working directory what such templates are made of.
"""

import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

import manual_pages

BIN = pathlib.Path(os.environ["QX_BIN"])
PASSWD = "root:x:0:0::/root:/bin/sh\nalice:x:1000:1000::/:/bin/sh\nbob:x:1001:1001::/:/bin/sh\n"
GROUP = "root:x:0:\noperators:x:1000:\nbob:x:1001:\n"
OUTSIDE = ("ld.so.cache", "alternatives", "localtime", "machine-id")


class Scene:
    """A folder with the node's trees and a working directory."""

    def __init__(self, folder):
        self.folder = folder
        for tree in ("qx", "etc/sysconfig/qx-scripts", "etc/qxagent", "var/lib/qxagent", "work"):
            (folder / tree).mkdir(parents=True)
        (folder / "etc/passwd").write_text(PASSWD)
        (folder / "etc/group").write_text(GROUP)
        for name in OUTSIDE:
            if os.path.isdir(f"/etc/{name}"):
                (folder / "etc" / name).mkdir()
            elif os.path.exists(f"/etc/{name}"):
                (folder / "etc" / name).touch()
        folder.chmod(0o755)

    def confined(self):
        """The words that run a command in the scene."""
        words = ["bwrap", "--die-with-parent", "--unshare-pid", "--dev", "/dev", "--proc", "/proc", "--tmpfs", "/tmp"]
        words += ["--cap-add", "ALL"]
        words += [] if os.geteuid() == 0 else ["--unshare-user", "--uid", "0", "--gid", "0"]
        for name in sorted(os.listdir("/")):
            path = f"/{name}"
            if os.path.islink(path):
                words += ["--symlink", os.readlink(path), path]
            elif name in ("usr", "bin", "sbin", "lib", "lib64"):
                words += ["--ro-bind", path, path]
        words += ["--bind", self.folder / "etc", "/etc", "--bind", self.folder / "qx", "/qx"]
        for name in OUTSIDE:
            if os.path.exists(f"/etc/{name}"):
                words += ["--ro-bind", f"/etc/{name}", f"/etc/{name}"]
        words += ["--bind", self.folder / "var", "/var", "--bind", self.folder / "work", "/srv"]
        # Users other than root reach the commands, too.
        for parent in reversed(BIN.parents[1:-1]):
            words += ["--perms", "0755", "--dir", parent]
        words += ["--ro-bind", BIN.parent, BIN.parent, "--chdir", "/srv"]
        words += ["--setenv", "PATH", f"{BIN}:/usr/sbin:/usr/bin:/sbin:/bin", "--unsetenv", "QXA_NODE_DIR"]
        return [*map(str, words), "--"]

    def run(self, script):
        """Runs commands until one fails; answers with the result."""
        return subprocess.run(
            [*self.confined(), "bash", "-euxo", "pipefail", "-c", script],
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            text=True,
            check=False,
        )

    def prepare(self):
        """Makes the scene that the examples start from."""
        for name, kind, extra in (("base", "os", ""), ("web", "app", 'base_os = [{ name = "base" }]\n')):
            source = self.folder / "work" / name
            (source / "root/etc").mkdir(parents=True)
            (source / "root/etc" / name).write_text(f"{name}\n")
            (source / "template.toml").write_text(
                f'technology = "standard"\nname = "{name}"\nversion = "1"\nkind = "{kind}"\n{extra}'
            )
        return self.run(
            "mkdir /qx/template /qx/private\n"
            "for name in base web; do qxa template pack $name $name.tar.gz; done\n"
            "qxa install base.tar.gz web.tar.gz; qxa ct create 101; qxa install --ct 101 base/1"
        )

    def place(self, example):
        """Writes an example that is the content of a file."""
        file = self.folder / (example.file.lstrip("/") if example.file.startswith("/") else f"work/{example.file}")
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(example.text)


class Pages(unittest.TestCase):
    def test_have_the_same_sections_in_the_same_order(self):
        for page in manual_pages.pages():
            with self.subTest(page.name):
                common = [name for name in manual_pages.sections(page) if name in manual_pages.SECTIONS]
                self.assertEqual(manual_pages.SECTIONS, common)

    def test_have_examples(self):
        for page in manual_pages.pages():
            with self.subTest(page.name):
                self.assertTrue(manual_pages.examples(page))

    @unittest.skipUnless(shutil.which("man"), "man is not installed")
    def test_are_set_without_warnings(self):
        for page in manual_pages.pages():
            with self.subTest(page.name):
                done = subprocess.run(
                    ["man", "--warnings", "-P", "cat", "-l", page], capture_output=True, text=True, check=True
                )
                self.assertEqual("", done.stderr)

    def test_every_example_works(self):
        for page in manual_pages.pages():
            with self.subTest(page.name), tempfile.TemporaryDirectory(prefix="qxa-test-") as folder:
                scene = Scene(pathlib.Path(folder))
                if scene.run("true").returncode != 0:
                    self.skipTest(f"no root of its own can be made here: {scene.run('true').stdout}")
                prepared = scene.prepare()
                self.assertEqual(0, prepared.returncode, prepared.stdout)
                for example in manual_pages.examples(page):
                    self.example_works(scene, example)

    def example_works(self, scene, example):
        if example.file is not None:
            scene.place(example)
        elif os.geteuid() == 0 or "setpriv" not in example.text:
            done = scene.run(example.text)
            self.assertEqual(0, done.returncode, done.stdout)


if __name__ == "__main__":
    unittest.main()

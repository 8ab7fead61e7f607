"""A node directory of a test's own, and the commands on it."""

import json
import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

BIN = pathlib.Path(os.environ["QX_BIN"])
# The plug-in finds qxpkg, as everything on a node does, on PATH.
os.environ["PATH"] = f"{BIN}:{os.environ['PATH']}"


def why_not() -> str | None:
    """Why a node directory cannot be entered here; None when it can."""
    with tempfile.TemporaryDirectory() as folder:
        node = pathlib.Path(folder) / "node"
        subprocess.run([BIN / "qxa", "node", "init", node], check=True)
        tried = subprocess.run(
            [BIN / "qxa", "--node-dir", node, "ct", "list"], capture_output=True, text=True, check=False
        )
    return None if tried.returncode == 0 else tried.stderr.strip()


REASON = why_not()


@unittest.skipIf(REASON is not None, f"a node directory cannot be entered: {REASON}")
class NodeTest(unittest.TestCase):
    """Each test has a folder with a fresh node directory in it."""

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="qxa-test-"))
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)
        self.node = self.folder / "node"
        self.qxa("node", "init", str(self.node))

    def run_qxa(self, *words, **options):
        """Runs the command and answers with its result, whatever it is."""
        return subprocess.run(
            [BIN / "qxa", "--node-dir", self.node, *map(str, words)],
            capture_output=True,
            text=True,
            check=False,
            stdin=subprocess.DEVNULL,
            **options,
        )

    def qxa(self, *words, code=0):
        """Runs the command, which must end with `code`; answers with what it printed."""
        result = self.run_qxa(*words)
        self.assertEqual(code, result.returncode, f"{words}: {result.stdout}{result.stderr}")
        return result

    def names(self, *words):
        """Names that a listing in JSON gives."""
        document = json.loads(self.qxa("--format", "json", "list", *words).stdout)
        return [package["name"] for result in document["results"] for package in result["packages"]]

    def source(self, name, version="1", kind="os", base=None, extra="", files=None):
        """A folder that can be packed."""
        folder = self.folder / "source" / f"{name}-{version}"
        for path, content in (files or {f"usr/{name}/file": f"{name} {version}\n"}).items():
            target = folder / "root" / path
            target.parent.mkdir(parents=True, exist_ok=True)
            target.write_text(content)
        (folder / "root").mkdir(parents=True, exist_ok=True)
        manifest = (
            f'technology = "standard"\nname = "{name}"\nversion = "{version}"\nkind = "{kind}"\n'
            f'summary = "summary of {name}"\nplatform = "Linux"\narchitecture = "x86_64"\n'
            'technologies = ["x86"]\n'
        )
        if base:
            manifest += f'base_os = [{{ name = "{base}" }}]\n'
        (folder / "template.toml").write_text(manifest + extra)
        return folder

    def package(self, name, version="1", **options):
        """A packed template."""
        file = self.folder / f"{name}-{version}.tar.gz"
        self.qxa("template", "pack", self.source(name, version, **options), file)
        return file

    def qxfsutil(self, *words):
        """Runs the checking tool on the node's templates; it must find nothing to complain about."""
        result = subprocess.run(
            [BIN / "qxfsutil", "--template-root", self.node / "qx/template", *map(str, words)],
            capture_output=True,
            text=True,
            check=False,
            stdin=subprocess.DEVNULL,
        )
        self.assertEqual(0, result.returncode, f"{words}: {result.stdout}{result.stderr}")
        return result.stdout

    def seen(self, container, path):
        """The content of a file as a container sees it."""
        return self.qxfsutil("cat", self.node / "qx" / "private" / str(container), path)

    def area(self, container):
        """What stands in a container's root: type, mode and content by path."""
        root = self.node / "qx" / "private" / str(container) / "root"
        found = {}
        for path in sorted(root.rglob("*")):
            info = path.lstat()
            content = os.readlink(path) if path.is_symlink() else path.read_bytes() if path.is_file() else ""
            found[str(path.relative_to(root))] = (info.st_mode, content)
        return found

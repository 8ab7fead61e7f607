"""KR templates, tiny repositories of real packages, and containers made of them."""

import functools
import pathlib
import shutil
import subprocess
import tempfile

from qxa_world import BIN, NodeTest

APPLETS = "sh cat echo ls rm mkdir ln true false id touch chroot mount mknod kill sleep dd".split()


def run(*words, **options):
    """Runs a tool of the fixtures, which must succeed."""
    return subprocess.run(
        [str(word) for word in words], check=True, capture_output=True, text=True, **options
    ).stdout


def why_no_engines() -> str | None:
    """Why packages cannot be made or installed here; None when they can."""
    tools = "bwrap busybox dpkg-deb dpkg-scanpackages apt-get rpm rpmbuild dnf createrepo_c".split()
    missing = [tool for tool in tools if shutil.which(tool) is None]
    return f"not installed: {', '.join(missing)}" if missing else None


ENGINES = why_no_engines()


@functools.cache
def packages() -> "Packages":
    """Packages take long to make, so one process makes each once."""
    return Packages()


class Packages:
    """Makes deb and rpm files; equal ones come from a cache."""

    def __init__(self):
        self._folder = tempfile.TemporaryDirectory(prefix="qxpkg-packages-")
        self.folder = pathlib.Path(self._folder.name)

    def deb(self, name, version="1.0", depends="", scripts=None, files=None):
        """A deb file. `scripts` maps a maintainer script's name to its shell text."""
        key = f"{name}_{version}_{abs(hash((depends, str(scripts), str(files))))}"
        target = self.folder / f"{key}.deb"
        if target.exists():
            return target
        tree = self.folder / key
        control = tree / "DEBIAN"
        control.mkdir(parents=True)
        text = (
            f"Package: {name}\nVersion: {version}\nArchitecture: all\n"
            f"Maintainer: Tests <tests@example.invalid>\nDescription: package {name}\n"
        )
        (control / "control").write_text(text + (f"Depends: {depends}\n" if depends else ""))
        for script, body in (scripts or {}).items():
            (control / script).write_text(f"#!/bin/sh\n{body}\n")
            (control / script).chmod(0o755)
        self._files(tree, name, version, files)
        run("dpkg-deb", "--root-owner-group", "-Znone", "--build", tree, target)
        return target

    def rpm(self, name, version="1.0", requires="", scripts=None, files=None, provides=""):
        """An rpm file. `scripts` maps a section's name ("post") to its shell text."""
        key = f"{name}-{version}-{abs(hash((requires, str(scripts), str(files))))}"
        target = self.folder / f"{key}.rpm"
        if target.exists():
            return target
        tree = self.folder / key
        self._files(tree, name, version, files)
        listed = "\n".join(f'"/{path.relative_to(tree)}"' for path in tree.rglob("*") if path.is_file())
        sections = "".join(f"%{section}\n{body}\n" for section, body in (scripts or {}).items())
        spec = self.folder / f"{key}.spec"
        spec.write_text(
            f"Name: {name}\nVersion: {version}\nRelease: 1\nSummary: package {name}\nLicense: none\n"
            "BuildArch: noarch\nAutoReqProv: no\n"
            + (f"Requires: {requires}\n" if requires else "")
            + (f"Provides: {provides}\n" if provides else "")
            + f"%description\npackage {name}\n%install\ncp -a {tree}/. %{{buildroot}}/\n"
            f"%files\n{listed}\n{sections}"
        )
        top = self.folder / f"top-{key}"
        run("rpmbuild", "-bb", "--define", f"_topdir {top}", "--define", "_buildhost localhost", spec)
        shutil.move(next(top.glob("RPMS/noarch/*.rpm")), target)
        return target

    @staticmethod
    def _files(tree, name, version, files):
        for path, content in (files or {f"usr/share/{name}/file": f"{name} {version}\n"}).items():
            target = tree / path
            target.parent.mkdir(parents=True, exist_ok=True)
            target.write_text(content)


class KrTest(NodeTest):
    """Each test has a node with an OS template of each packaging, over repositories of its own."""

    def run_qxpkg(self, *words, **options):
        """Runs the command on the node and answers with its result, whatever it is."""
        return subprocess.run(
            [BIN / "qxpkg", "--node-dir", self.node, *map(str, words)],
            capture_output=True,
            text=True,
            check=False,
            stdin=subprocess.DEVNULL,
            **options,
        )

    def qxpkg(self, *words, code=0):
        """Runs the command, which must end with `code`; answers with what it printed."""
        result = self.run_qxpkg(*words)
        self.assertEqual(code, result.returncode, f"{words}: {result.stdout}{result.stderr}")
        return result

    def repository(self, packaging):
        """Folder of the repository of an OS template."""
        folder = self.folder / f"repo-{packaging}"
        folder.mkdir(exist_ok=True)
        return folder

    def offer(self, *files):
        """Puts packages into the repositories and renews their lists."""
        for file in files:
            packaging = file.suffix[1:]
            shutil.copy(file, self.repository(packaging))
        for packaging in {file.suffix[1:] for file in files}:
            self.index(packaging)

    def index(self, packaging):
        """Renews the lists of a repository."""
        folder = self.repository(packaging)
        if packaging == "deb":
            (folder / "Packages").write_text(run("dpkg-scanpackages", "-m", ".", cwd=folder))
        else:
            run("createrepo_c", "-q", folder)

    def os_template(self, name, packaging, packages=(), base=(), extra=""):
        """Registers an OS template on the node, as an operator does by hand."""
        folder = self.node / "qx/template/kr" / name
        folder.mkdir(parents=True, exist_ok=True)
        scheme = "copy" if packaging == "deb" else "file"
        (folder / "template.toml").write_text(
            f'technology = "kr"\nkind = "os"\nname = "{name}"\nversion = "1"\n'
            f'summary = "summary of {name}"\npackaging = "{packaging}"\n'
            f"packages = {list(packages)}\nbase_packages = {list(base)}\n{extra}\n"
            f'[[repositories]]\nurl = "{scheme}:{self.repository(packaging)}"\nsuite = "./"\n'
            "trusted = true\n"
        )
        self.index(packaging)
        return folder

    def app_template(self, os_name, name, packages):
        """Registers an application template."""
        folder = self.node / "qx/template/kr" / os_name / "app"
        folder.mkdir(exist_ok=True)
        (folder / f"{name}.toml").write_text(
            f'technology = "kr"\nkind = "app"\nname = "{name}"\nos = "{os_name}"\n'
            f'summary = "summary of {name}"\npackages = {list(packages)}\n'
        )

    def container(self, veid, os_name):
        """A container whose root runs shell scripts and holds empty package databases."""
        root = self.root(veid)
        for folder in "bin etc tmp proc dev var/log var/lib/dpkg/info var/lib/rpm usr/share".split():
            (root / folder).mkdir(parents=True, exist_ok=True)
        shutil.copy(shutil.which("busybox"), root / "bin/busybox")
        for applet in APPLETS:
            (root / "bin" / applet).symlink_to("busybox")
        (root / "var/lib/dpkg/status").touch()
        (root / "etc/passwd").write_text("root:x:0:0::/root:/bin/sh\n")
        (root / "etc/group").write_text("root:x:0:\n")
        config = self.node / "etc/sysconfig/qx-scripts" / f"{veid}.conf"
        config.write_text(
            f'VE_PRIVATE="/qx/private/$VEID"\nOSTEMPLATE=".{os_name}"\nTEMPLATES=""\n'
            f'EID="00000000-0000-4000-8000-{veid:012d}"\n'
        )
        return root

    def root(self, veid):
        """A container's root."""
        return self.node / "qx/private" / str(veid) / "root"

    def templates(self, veid):
        """The value of TEMPLATES in a container's configuration."""
        text = (self.node / "etc/sysconfig/qx-scripts" / f"{veid}.conf").read_text()
        return next(line.split('"')[1] for line in text.splitlines() if line.startswith("TEMPLATES"))

    def deb_state(self, veid):
        """State and version of each package that dpkg knows in a container."""
        text = run(
            "dpkg-query", f"--admindir={self.root(veid)}/var/lib/dpkg", "-W", "-f",
            "${db:Status-Abbrev} ${Package} ${Version}\n",
        )
        return sorted(" ".join(line.split()) for line in text.splitlines())

    def rpm_state(self, veid):
        """Name and version of each package in a container's rpm database, but for the shell's."""
        text = run(
            "rpm", "--root", self.root(veid), "--dbpath", "/var/lib/rpm", "-qa", "--qf", "%{NAME} %{VERSION}\n"
        )
        return sorted(line for line in text.splitlines() if not line.startswith("qxbase "))

#!/usr/bin/env python3
"""Keeps a node directory as this version leaves it, as an image for node_image_test.

    QX_BIN=build/release/bin tests/integration/make_node_image.py NAME

writes tests/data/node/NAME.img.zst, and NAME.json, which says what must be seen in it. Needs root,
a loop device, strace, and the engines of both kinds of packages.
"""

import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

from kr_world import ENGINES, packages, run
from node_image import BIN, IMAGES, Node, enter_private_mounts, mount, output_of, tree_of

SIZE = 24 << 20
STANDARD = """technology = "standard"
name = "{name}"
version = "{version}"
kind = "{kind}"
summary = "summary of {name}"
description = "first line\\nsecond line"
platform = "Linux"
architecture = "x86_64"
technologies = ["x86"]
packages = [{{ name = "{name}-tools", version = "{version}" }}]
"""
KR = """technology = "kr"
kind = "os"
name = "{name}"
version = "1"
summary = "summary of {name}"
packaging = "{packaging}"
variant = "empty"
base_packages = ["base"]

[[repositories]]
url = "{scheme}:/qx/repositories/{packaging}"
suite = "./"
trusted = true
"""
# What containers see, and what is changed in the image's tests.
FILES = {
    "files": {
        "101": {
            "etc/motd": "welcome to 1\n", "etc/host.conf": "order files\n", "etc/own": "the container's own\n",
            "etc/issue": "not what the index says\n", "usr/share/web/index": "index\n", "home/user/copy": "dear all\n",
        },
        "102": {"bin/sh": "shell 1\n", "srv/issue": "issue\n", "srv/doc/README": "read me\n"},
    },
    "update": {
        "container": 101,
        "templates": ["base/2", "web/1"],
        "files": {
            "etc/motd": "welcome to 2\n", "usr/share/base/new": "new\n", "usr/share/base/kept": "kept\n",
            "etc/host.conf": "order files\n", "etc/own": "the container's own\n",
        },
        "gone": ["usr/share/base/gone"],
    },
}
APPLICATION = 'technology = "kr"\nkind = "app"\nname = "pair"\nos = "{name}"\npackages = ["two"]\n'


class Maker:
    """A node in an image that can be put aside and taken up again."""

    def __init__(self, folder):
        self.folder = folder
        self.image = folder / "node.img"
        self.mounted = folder / "mounted"
        self.mounted.mkdir()
        self.node = Node(self.mounted)
        with self.image.open("wb") as file:
            file.truncate(SIZE)
        output_of("mkfs.ext4", "-q", "-b", 4096, "-J", "size=4", "-L", "qxnode", self.image)
        self.take_up()

    def take_up(self):
        mount(self.image, self.mounted)

    def put_aside(self):
        output_of("fstrim", self.mounted)
        output_of("umount", self.mounted)

    # -- templates and containers

    def template(self, name, version, files, kind="os", extra=""):
        """A packed standard template, in the node itself: the history names it."""
        source = self.folder / f"{name}-{version}"
        for path, content in files.items():
            target = source / "root" / path
            target.parent.mkdir(parents=True, exist_ok=True)
            if isinstance(content, tuple):
                target.symlink_to(content[0])
            else:
                target.write_text(content)
                target.chmod(0o755 if path.startswith("bin/") else 0o644)
        (source / "template.toml").write_text(STANDARD.format(name=name, version=version, kind=kind) + extra)
        packed = f"qx/packages/{name}-{version}.tar.gz"
        output_of(BIN / "qxa", "template", "pack", source, self.node.folder / packed)
        return "/" + packed

    def offer(self, *files):
        """Puts packages into the node's repositories and renews their lists."""
        for file in files:
            repository = self.node.path(f"/qx/repositories/{file.suffix[1:]}")
            repository.mkdir(parents=True, exist_ok=True)
            shutil.copy(file, repository)
            if file.suffix == ".deb":
                (repository / "Packages").write_text(run("dpkg-scanpackages", "-m", ".", cwd=repository))
            else:
                run("createrepo_c", "-q", "--compatibility", repository)

    def kr_template(self, name, packaging):
        """A packed KR OS template with an application."""
        source = self.folder / name
        (source / "app").mkdir(parents=True)
        scheme = "copy" if packaging == "deb" else "file"
        (source / "template.toml").write_text(KR.format(name=name, packaging=packaging, scheme=scheme))
        (source / "app/pair.toml").write_text(APPLICATION.format(name=name))
        packed = f"qx/packages/{name}.tar.gz"
        output_of(BIN / "qxpkg", "pack", source, self.node.folder / packed)
        return "/" + packed

    def root(self, container):
        return self.node.path(f"/qx/private/{container}/root")

    # -- changes that are cut short

    def kill_at(self, call, n, words):
        """Runs a command with a process that is killed before its n-th such call; whether it made so many."""
        name, *paths = call.split()
        command = ["strace", "-f", "-qq", "-o", "/dev/null", "-e", f"inject={name}:signal=SIGKILL:when={n}"]
        for path in paths:
            command += ["-P", path]
        done = subprocess.run(
            [*command, words[0], "--node-dir", ".", *map(str, words[1:])],
            capture_output=True, check=False, stdin=subprocess.DEVNULL, cwd=self.node.folder,
        )
        return done.returncode != 0

    def interrupt(self, words, wanted, call="renameat"):
        """Kills a command halfway through the calls at which `wanted` holds of what is left behind.

        A path behind the call's name means that only calls with this path count.
        """
        self.put_aside()
        before = self.folder / "before.img"
        output_of("cp", "--sparse=always", self.image, before)
        fitting, n, killed = [], 0, True
        while killed:
            n += 1
            self.take_up()
            killed = self.kill_at(call, n, words)
            if killed and wanted():
                fitting.append(n)
            output_of("umount", self.mounted)
            output_of("cp", "--sparse=always", before, self.image)
        self.take_up()
        assert fitting, f"{words}: no such moment"
        moment = fitting[len(fitting) // 2]
        assert self.kill_at(call, moment, words) and wanted()
        print(f"{words}: killed before {call} {moment} of {n - 1}", flush=True)


def standard_templates(maker):
    """Two versions of an OS template, one of an application."""
    base = {
        "bin/sh": "shell 1\n", "bin/login": "login 1\n", "etc/motd": "welcome to 1\n", "etc/issue": "issue\n",
        "etc/host.conf": "order hosts\n", "usr/share/base/kept": "kept\n", "usr/share/base/gone": "gone\n",
        "usr/share/base/link": ("kept",), "usr/share/caf\u00e9/men\u00fc": "soup\n",
        "usr/share/doc/base/README": "read me\n", "usr/share/doc/base/copyright": "ours\n",
    }
    base |= {f"usr/lib/modules/{name}": f"module {name}\n" for name in range(40)}
    newer = base | {
        "bin/sh": "shell 2\n", "etc/motd": "welcome to 2\n", "usr/share/base/new": "new\n", "usr/lib/modules/7": "seven\n"
    }
    del newer["usr/share/base/gone"]
    web = {"usr/share/web/index": "index\n", "etc/web.conf": "port 80\n"}
    extra = 'setid = ["bin/login"]\n'
    of_base = 'base_os = [{ name = "base" }]\n'
    maker.node.qxa(
        "install",
        maker.template("base", "1", base, extra=extra), maker.template("base", "2", newer, extra=extra),
        maker.template("web", "1", web, kind="app", extra=of_base),
    )
    os.setxattr(maker.node.path("/qx/template/base/1/root/etc/issue"), "user.origin", b"template")


def indexed_container(maker):
    """101: indexes, and a container's own files: beside, below and in place of the templates' ones."""
    maker.node.qxa("ct", "create", 101)
    root = maker.root(101)
    (root / "etc").mkdir()
    (root / "etc/host.conf").write_text("order files\n")
    own = root / "etc/own"
    own.write_text("the container's own\n")
    own.chmod(0o640)
    os.chown(own, 1000, 100)
    os.setxattr(own, "user.note", b"mine")
    (root / "home/user").mkdir(parents=True)
    (root / "home/user/letter").write_text("dear all\n")
    os.link(root / "home/user/letter", root / "home/user/copy")
    maker.node.qxa("install", "--ct", 101, "base/1", "web/1")
    (root / "etc/issue").write_text("not what the index says\n")


def container_of_shortcuts(maker):
    """102: an older layout, without indexes; shortcuts, magic symlinks, a magic directory."""
    maker.node.qxa("ct", "create", 102)
    version = maker.node.path("/qx/private/102/VERSION")
    version.unlink()
    version.symlink_to("005.003")
    maker.node.qxa("install", "--ct", 102, "base/1")
    root = maker.root(102)
    output_of("chattr", "+A", root / "usr/share/base/kept")
    (root / "srv").mkdir()
    (root / "srv/issue").symlink_to("////base/1/root/etc/issue")
    (root / "srv/doc").mkdir()
    (root / "srv/doc/._qxlnk_.").symlink_to("////base/1/root/usr/share/doc/base")
    (root / "srv/doc").chmod(0o4755)


def repaired_container(maker):
    """105: damaged, then repaired with an undo record that nobody has used yet."""
    maker.node.qxa("ct", "create", 105)
    maker.node.qxa("install", "--ct", 105, "base/1")
    root = maker.root(105)
    index = root / "etc/._qxlnk_."
    content = bytearray(index.read_bytes())
    content[len(content) // 2] ^= 0x10
    index.write_bytes(content)
    (root / "bin").chmod(0o755)
    (root / "usr/share/base/stray").write_text("stray\n")
    (root / "usr/share/doc/base/._qxlnk_.").unlink()
    (root / "srv").mkdir()
    (root / "srv/lost").write_text("////base/1/root/never/was")
    (root / "srv/lost").chmod(0o1644)
    os.chown(root / "srv/lost", 1000, 100)
    area = "/qx/private/105"
    before = tree_of(root)
    done = maker.node.qxfsutil("check", "-y", area)
    print(done.stdout, done.stderr, flush=True)
    [record] = maker.node.path(area).glob("*.qxundo")
    return {"area": area, "record": f"{area}/{record.name}", "before": before}


def kr_containers(maker):
    """201 of deb packages, 202 of rpm packages, with a newer package on offer."""
    maker.offer(
        packages().deb("base"), packages().deb("one"), packages().deb("two", depends="one"),
        packages().rpm("base", provides="/bin/sh"), packages().rpm("one"), packages().rpm("two", requires="one"),
    )
    maker.node.qxa("install", maker.kr_template("tinydeb", "deb"), maker.kr_template("tinyrpm", "rpm"))
    for container, name in ((201, "tinydeb"), (202, "tinyrpm")):
        maker.node.qxa("ct", "create", container, "--os", f".{name}")
        maker.node.qxa("install", "--ct", container, f".{name}/pair")
    maker.offer(packages().deb("one", "1.1"), packages().rpm("one", "1.1"))


def interrupted_changes(maker):
    """103 and 104 on their way to base/2, 203 on its way to a package, and a template on its way to the node."""
    for container in (103, 104):
        maker.node.qxa("ct", "create", container)
        maker.node.qxa("install", "--ct", container, "base/1")
        configured = maker.node.path(f"/etc/sysconfig/qx-scripts/{container}.conf")
        journal = maker.node.path(f"/qx/private/{container}/.qxtemplates/journal")
        version = "base/1" if container == 103 else "base/2"
        maker.interrupt(
            ["qxa", "update", "--ct", container, "base"],
            lambda: journal.exists() and f'="{version}"' in configured.read_text(),
        )
    maker.node.qxa("ct", "create", 203, "--os", ".tinydeb")
    intent = "/var/lib/qxagent/qxpkg/203/intent"
    maker.interrupt(["qxpkg", "install", "-q", "-p", 203, "one"], maker.node.path(intent).exists, f"unlink {intent}")
    journal = maker.node.path("/qx/template/.qxtem/journal")
    files = [
        maker.template(name, "1", {f"opt/{name}": f"{name}\n"}, kind="app", extra='base_os = [{ name = "base" }]\n')
        for name in ("early", "late")
    ]
    maker.interrupt(["qxa", "install", *files], lambda: "state pending" in journal.read_text())


def main():
    if ENGINES is not None:
        sys.exit(ENGINES)
    [name] = sys.argv[1:]
    enter_private_mounts()
    with tempfile.TemporaryDirectory() as folder:
        fill(Maker(pathlib.Path(folder)), IMAGES / name)


def fill(maker, target):
    """Makes the node, and the image and document of it."""
    try:
        output_of(BIN / "qxa", "node", "init", maker.node.folder)
        maker.node.path("/qx/packages").mkdir()
        standard_templates(maker)
        indexed_container(maker)
        container_of_shortcuts(maker)
        undo = repaired_container(maker)
        kr_containers(maker)
        interrupted_changes(maker)
        maker.put_aside()
        output_of("e2fsck", "-fn", maker.image)
        output_of("zstd", "-19", "--force", "-q", maker.image, "-o", f"{target}.img.zst")
        maker.take_up()
        document = {"seen": maker.node.seen(), "undo": undo, **FILES}
        pathlib.Path(f"{target}.json").write_text(json.dumps(document, indent=1) + "\n")
    finally:
        subprocess.run(["umount", maker.mounted], check=False)


if __name__ == "__main__":
    main()

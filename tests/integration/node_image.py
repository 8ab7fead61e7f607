"""Node directories that earlier versions left behind, each in a file system image of its own."""

import ctypes
import hashlib
import json
import os
import pathlib
import shutil
import subprocess
import tempfile

BIN = pathlib.Path(os.environ["QX_BIN"])
# The plug-in finds qxpkg, as everything on a node does, on PATH.
os.environ["PATH"] = f"{BIN}:{os.environ['PATH']}:/usr/sbin:/sbin"
IMAGES = pathlib.Path(__file__).parents[1] / "data/node"

CLONE_NEWNS = 0x00020000
MS_PRIVATE_RECURSIVE = (1 << 18) | (1 << 14)


class NotHere(Exception):
    """Why an image cannot be mounted on this machine."""


def output_of(*words, **options):
    """What a command that must succeed prints."""
    done = subprocess.run([*map(str, words)], capture_output=True, text=True, check=False, **options)
    if done.returncode != 0:
        raise AssertionError(f"{words}: {done.returncode}\n{done.stdout}{done.stderr}")
    return done.stdout


def enter_private_mounts():
    """Whatever this process mounts is seen by nobody else and goes with it, however it ends."""
    libc = ctypes.CDLL(None, use_errno=True)
    if libc.unshare(CLONE_NEWNS) != 0 or libc.mount(None, b"/", None, MS_PRIVATE_RECURSIVE, None) != 0:
        raise NotHere(f"no private mounts: {os.strerror(ctypes.get_errno())}")


def mount(image, folder):
    """Mounts a file system image; the loop device is let go of with the mount."""
    done = subprocess.run(["mount", "-t", "ext4", "-o", "loop", image, folder], capture_output=True, text=True, check=False)
    if done.returncode == 0:
        return
    for reason in ("loop device", "unknown filesystem type", "permission denied", "must be superuser"):
        if reason in done.stderr:
            raise NotHere(done.stderr.strip())
    raise AssertionError(done.stderr)


def unpack(compressed, image):
    """Writes the file system image that a compressed one holds."""
    if shutil.which("zstd") is None:
        raise NotHere("zstd is not installed")
    output_of("zstd", "--decompress", "--sparse", "--quiet", "--force", compressed, "-o", image)


def why_not() -> str | None:
    """Why images cannot be mounted here; None when they can. Enters private mounts."""
    try:
        enter_private_mounts()
        with tempfile.TemporaryDirectory() as folder:
            empty, there = pathlib.Path(folder) / "empty.img", pathlib.Path(folder) / "there"
            there.mkdir()
            with empty.open("wb") as file:
                file.truncate(1 << 20)
            output_of("mkfs.ext4", "-q", empty)
            mount(empty, there)
            output_of("umount", there)
            unpack(next(IMAGES.glob("*.img.zst")), pathlib.Path(folder) / "node.img")
    except (NotHere, OSError) as reason:
        return str(reason)
    return None


def state_of(path):
    """Everything about a file that an undone repair gives back."""
    info = path.lstat()
    content = None
    if path.is_symlink():
        content = os.readlink(path)
    elif path.is_file():
        content = hashlib.sha256(path.read_bytes()).hexdigest()
    attributes = {
        name: os.getxattr(path, name, follow_symlinks=False).hex() for name in os.listxattr(path, follow_symlinks=False)
    }
    return [oct(info.st_mode), info.st_uid, info.st_gid, info.st_mtime_ns, content, attributes]


def tree_of(folder):
    """The states of all that a folder holds, by path."""
    return {
        str(path.relative_to(folder)): state_of(path) for path in sorted(folder.rglob("*"), key=os.fsencode)
    }


class Node:
    """A node directory in a mounted image."""

    def __init__(self, mounted):
        self.mounted = pathlib.Path(mounted)
        self.folder = self.mounted / "node"

    def path(self, real):
        """Where a path of the node lies."""
        return self.folder / str(real).lstrip("/")

    def run(self, program, *words):
        """Runs a command on the node and answers with its result, whatever it is."""
        return subprocess.run(
            [program, "--node-dir", ".", *map(str, words)],
            capture_output=True, text=True, check=False, stdin=subprocess.DEVNULL, cwd=self.folder,
        )

    def qxa(self, *words):
        """Runs qxa, which must succeed."""
        result = self.run("qxa", *words)
        assert result.returncode == 0, f"{words}: {result.returncode}: {result.stdout}{result.stderr}"
        return result.stdout

    def records(self, *words):
        """What qxa answers in JSON."""
        return json.loads(self.qxa("--format", "json", *words))

    def names(self, *words):
        """Names that a listing gives."""
        return [package["name"] for result in self.records("list", *words)["results"] for package in result["packages"]]

    def qxfsutil(self, *words):
        """Runs the checker with the node's trees at their real paths, as records of repairs name them."""
        with tempfile.TemporaryDirectory() as folder:
            root = pathlib.Path(folder)
            output_of("mount", "-t", "tmpfs", "tmpfs", root)
            try:
                for entry in pathlib.Path("/").iterdir():
                    if entry.is_symlink():
                        (root / entry.name).symlink_to(os.readlink(entry))
                    elif entry.is_dir() and entry.name != "qx":
                        (root / entry.name).mkdir()
                        output_of("mount", "--rbind", entry, root / entry.name)
                (root / "qx").mkdir()
                output_of("mount", "--bind", self.folder / "qx", root / "qx")
                return subprocess.run(
                    ["chroot", root, BIN / "qxfsutil", *map(str, words)],
                    capture_output=True, text=True, check=False, stdin=subprocess.DEVNULL,
                )
            finally:
                output_of("umount", "--recursive", "--lazy", root)

    def findings(self, area):
        """Exit status of a check, and the codes that it finds."""
        done = self.qxfsutil("--json", "check", "-n", area)
        objects = [json.loads(line) for line in done.stdout.splitlines()]
        return [done.returncode, sorted({each["finding"] for each in objects if "finding" in each})]

    def cat(self, area, path):
        """A file as the container sees it."""
        return self.qxfsutil("cat", area, path).stdout

    def seen(self):
        """What an operator sees who looks around."""
        containers = [each["ct"] for each in self.records("ct", "list")["containers"]]
        return {
            "templates": self.names("--type", "os,app"),
            "containers": {
                str(container): {
                    "templates": self.names("--ct", container, "--type", "os,app"),
                    "check": self.findings(f"/qx/private/{container}"),
                }
                for container in containers
            },
            "packages": {
                str(container): self.names("--ct", container, "--type", "rpm")
                for container in containers
                if not list(self.path(f"/qx/private/{container}").glob(".qxtemplates/*@*"))
            },
            "history": [
                [each["operation"], each["target"], each["code"]] for each in self.records("history", "--limit", 0)["requests"]
            ],
        }

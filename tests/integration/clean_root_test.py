"""The packages on a clean Debian: installed with everything they depend on, and put to work.

The root is made with the sources that this machine has configured. Where their mirror does not
answer, the test ends with status 77 and the reason.
"""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import time

from installed_world import SOURCE, packages

SKIPPED = 77
SOURCES = ("/etc/apt/sources.list.d/debian.sources", "/etc/apt/sources.list")
SECONDS = 150


def codename():
    lines = pathlib.Path("/etc/os-release").read_text(encoding="utf-8").splitlines()
    return dict(line.split("=", 1) for line in lines if "=" in line).get("VERSION_CODENAME", "").strip('"')


def run(*words):
    """Runs a command; answers with its status and what it printed."""
    done = subprocess.run(
        [*map(str, words)],
        stdin=subprocess.DEVNULL,
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        text=True,
        check=False,
        timeout=SECONDS,
        env=dict(os.environ, DEBIAN_FRONTEND="noninteractive", LC_ALL="C"),
    )
    return done.returncode, done.stdout


def why_not(source, folder):
    """Why no root can be made here; None when one can."""
    if source is None:
        return "this machine has no Debian sources"
    if os.geteuid() != 0:
        return "making a root wants root"
    for tool in ("mmdebstrap", "bwrap"):
        if shutil.which(tool) is None:
            return f"{tool} is not installed"
    (folder / "lists/partial").mkdir(parents=True)
    options = {
        "Dir::Etc::SourceList": source,
        "Dir::Etc::SourceParts": "/dev/null",
        "Dir::State::Lists": folder / "lists",
        "Acquire::Retries": 0,
        "Acquire::http::Timeout": 5,
        "APT::Update::Error-Mode": "any",
        "APT::Sandbox::User": "root",
    }
    status, printed = run("apt-get", "-q", *(f"-o{key}={value}" for key, value in options.items()), "update")
    return None if status == 0 else f"the mirror does not answer: {printed.strip().splitlines()[-1]}"


def make_root(source, root, debs):
    """A clean root in which apt has installed the packages."""
    return run(
        "mmdebstrap",
        "--variant=apt",
        "--mode=root",
        f"--customize-hook=copy-in {debs} /var/tmp",
        '--customize-hook=chroot "$1" sh -c "apt-get -q -y --no-install-recommends install /var/tmp/debs/*.deb"',
        codename(),
        root,
        source,
    )


def inside(root, *words):
    """Runs a command in the root as on a machine that was started from it."""
    return run(
        *("bwrap", "--die-with-parent", "--unshare-pid", "--unshare-net", "--cap-add", "ALL"),
        *("--bind", root, "/", "--dev", "/dev", "--proc", "/proc", "--tmpfs", "/tmp"),
        *("--ro-bind", SOURCE / "scripts", "/srv/scripts", "--chdir", "/srv"),
        *("--setenv", "QX_BIN", "/usr/bin", "--setenv", "PATH", "/usr/sbin:/usr/bin:/sbin:/bin"),
        *words,
    )


def demonstrate(root):
    """The demonstration's main steps, with the installed commands."""
    (root / "srv/build").mkdir(parents=True)
    return inside(root, "scripts/demo", "standard", "areas")


TINY = 'technology = "kr"\nkind = "os"\nname = "tiny"\nversion = "1"\npackaging = "deb"\nvariant = "empty"\n'


def kr_template(root):
    """A KR template comes and goes on the root's own node."""
    (root / "var/tmp/tiny").mkdir()
    (root / "var/tmp/tiny/template.toml").write_text(TINY)
    script = "cd /var/tmp; qxpkg pack tiny tiny.tar.gz; qxa install ./tiny.tar.gz; qxa list | grep tiny; qxa remove .tiny"
    return inside(root, "sh", "-exc", script)


def steps(folder, source):
    debs = folder / "debs"
    debs.mkdir()
    for name, file in packages().items():
        # Headers bring nothing new to a root without a compiler.
        if name != "qxapkg-dev":
            shutil.copy(file, debs)
    yield "root", lambda: make_root(source, folder / "root", debs)
    yield "demonstration", lambda: demonstrate(folder / "root")
    missing = "for f in /usr/bin/qxa /usr/bin/qxfsutil /usr/sbin/qxquota /usr/sbin/qxpkg; do ldd $f; done | grep 'not found'"
    yield "libraries", lambda: run("chroot", folder / "root", "sh", "-c", f"! ({missing})")
    yield "KR template", lambda: kr_template(folder / "root")
    yield "trees", lambda: run("chroot", folder / "root", "qxa", "list", "--format", "json")
    yield "removal", lambda: run("chroot", folder / "root", "dpkg", "-r", "qxapkg-tools", "qxapkg-plugin", "qxapkg-node")
    yield "trees stay", lambda: run("test", "-d", folder / "root/qx/template")


def main():
    source = next((path for path in SOURCES if os.path.exists(path)), None)
    with tempfile.TemporaryDirectory(prefix="qxa-test-") as name:
        folder = pathlib.Path(name)
        folder.chmod(0o755)
        reason = why_not(source, folder)
        if reason is not None:
            print(f"skipped: the packages on a clean root: {reason}")
            return SKIPPED
        for title, step in steps(folder, source):
            start = time.monotonic()
            status, printed = step()
            print(f"{title}: {time.monotonic() - start:.1f} s")
            if status != 0:
                print(f"{title} ended with status {status}:\n{printed}")
                return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())

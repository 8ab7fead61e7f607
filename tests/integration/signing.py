"""OpenPGP keys of a test's own, and what is signed with them."""

import hashlib
import shutil
import time

from kr_world import run


def why_no_signing() -> str | None:
    """Why repositories cannot be signed here; None when they can."""
    missing = [tool for tool in "gpg gpg-agent gpgconf gpgv rpmsign".split() if shutil.which(tool) is None]
    return f"not installed: {', '.join(missing)}" if missing else None


SIGNING = why_no_signing()


class SigningKey:
    """A key pair in a folder, which stands for whoever publishes a repository."""

    def __init__(self, folder):
        self._home = folder
        self._name = f"{folder.name}@example.invalid"
        folder.mkdir(mode=0o700)
        self._gpg("--quick-generate-key", self._name, "rsa2048", "sign", "never")

    def close(self):
        """Ends the agent that the key's first use started."""
        run("gpgconf", "--homedir", self._home, "--kill", "all")

    def public(self):
        """The public half, as publishers offer it."""
        return self._gpg("--armor", "--export")

    def sign(self, repository):
        """Signs the list of a flat deb repository as it is now."""
        content = (repository / "Packages").read_bytes()
        date = time.strftime("%a, %d %b %Y %H:%M:%S UTC", time.gmtime())
        (repository / "Release").write_text(
            f"Origin: tests\nDate: {date}\nSHA256:\n {hashlib.sha256(content).hexdigest()} {len(content)} Packages\n"
        )
        self._gpg("--yes", "--output", repository / "InRelease", "--clearsign", repository / "Release")

    def sign_package(self, file):
        """Signs an rpm file in its place."""
        settings = {"__gpg": shutil.which("gpg"), "_gpg_path": self._home, "_gpg_name": self._name}
        defines = [f"--define={name} {value}" for name, value in settings.items()]
        run("rpmsign", *defines, "--addsign", file)

    def _gpg(self, *words):
        alone = ("--batch", "--quiet", "--pinentry-mode", "loopback", "--passphrase", "")
        return run("gpg", "--homedir", self._home, *alone, *words)

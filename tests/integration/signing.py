"""OpenPGP keys of a test's own, and deb repositories signed with them."""

import hashlib
import shutil
import time

from kr_world import run


def why_no_signing() -> str | None:
    """Why repositories cannot be signed here; None when they can."""
    missing = [tool for tool in ("gpg", "gpg-agent", "gpgconf", "gpgv") if shutil.which(tool) is None]
    return f"not installed: {', '.join(missing)}" if missing else None


SIGNING = why_no_signing()


class SigningKey:
    """A key pair in a folder, which stands for whoever publishes a repository."""

    def __init__(self, folder):
        self._home = folder
        folder.mkdir(mode=0o700)
        self._gpg("--quick-generate-key", f"{folder.name}@example.invalid", "ed25519", "sign", "never")

    def close(self):
        """Ends the agent that the key's first use started."""
        run("gpgconf", "--homedir", self._home, "--kill", "all")

    def public(self):
        """The public half, as publishers offer it."""
        return self._gpg("--armor", "--export")

    def sign(self, repository):
        """Signs the list of a flat repository as it is now."""
        content = (repository / "Packages").read_bytes()
        date = time.strftime("%a, %d %b %Y %H:%M:%S UTC", time.gmtime())
        (repository / "Release").write_text(
            f"Origin: tests\nDate: {date}\nSHA256:\n {hashlib.sha256(content).hexdigest()} {len(content)} Packages\n"
        )
        self._gpg("--yes", "--output", repository / "InRelease", "--clearsign", repository / "Release")

    def _gpg(self, *words):
        return run(
            "gpg", "--homedir", self._home, "--batch", "--quiet", "--pinentry-mode", "loopback", "--passphrase", "", *words
        )

"""Copies the sources to places where they are built and tested: on this machine or in other Debian systems."""

import os
import subprocess
from pathlib import Path

from bare_debian import ALONE, enter, make_bare_debian

SOURCE = Path(__file__).resolve().parents[2]
CACHE = Path(os.environ.get("TAVIK_PLATFORMS_CACHE")
             or Path(os.environ.get("XDG_CACHE_HOME") or Path.home() / ".cache") / "tavik_aligner/platforms").resolve()
LOGS = SOURCE / "build" / "platforms"
# Without this option, apt-get succeeds with the old lists if no mirror answers.
UPDATE = "apt-get update -q -o APT::Update::Error-Mode=any"


class Failure(Exception):
    """A failure, described in a few words for the table of scripts/prove-platforms."""


class Place:
    """A copy of the sources, in which commands run: folder `name` of the cache, or /src in the Debian system `root`."""

    def __init__(self, name, root=None):
        self.root, self.log = root, LOGS / f"{name}.log"
        self.folder = root / "src" if root else CACHE / name
        self.source = "/src" if root else str(self.folder)
        # ccache's settings make paths relative, so that copies in other folders find the objects of this copy.
        self.environment = {"PATH": "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin", "LANG": "C.UTF-8",
                            "HOME": "/root" if root else str(Path.home()), "CCACHE_BASEDIR": self.source, "CCACHE_NOHASHDIR": "1"}
        passed_on = ("TAVIK_TESTS_WITHOUT",) if root else ("TAVIK_TESTS_WITHOUT", "CCACHE_DIR", "XDG_CACHE_HOME")
        self.environment.update((name, os.environ[name]) for name in passed_on if name in os.environ)

    def run(self, command, folder=None):
        """Runs a shell command; returns its status and its output."""
        variables = [f"{name}={value}" for name, value in self.environment.items()]
        inside = enter(self.root) if self.root else ALONE
        with self.log.open("a+", errors="replace") as log:
            log.write(f"$ {command}\n")
            log.flush()
            start = log.tell()
            status = subprocess.run([*inside, "env", "-i", *variables, "sh", "-c", f"cd '{folder or self.source}' && {command}"],
                                    stdin=subprocess.DEVNULL, stdout=log, stderr=subprocess.STDOUT, check=False).returncode
            log.seek(start)
            return status, log.read()

    def must(self, command, reason, folder=None):
        status, output = self.run(command, folder)
        if status != 0:
            raise Failure(f"{reason} (status {status})")
        return output

    def bring_sources(self):
        remove(self.folder)
        self.folder.mkdir(parents=True)
        try:
            listed = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], cwd=SOURCE, check=True,
                                    stdout=subprocess.PIPE).stdout
            archive = subprocess.run(["tar", "-c", "--null", "--ignore-failed-read", "-T", "-"], cwd=SOURCE, input=listed, check=True,
                                     stdout=subprocess.PIPE).stdout
            subprocess.run(["tar", "-x", "-C", self.folder], input=archive, check=True)
        except subprocess.CalledProcessError as error:
            raise Failure(f"not tried: the sources cannot be copied ({error.cmd[0]}: status {error.returncode})") from error


def remove(folder):
    subprocess.run(["rm", "-rf", "--one-file-system", folder], check=True)


def debian_place(name, release, install):
    """Makes or updates the Debian system `name`, copies the sources into it and runs the shell command `install` there.
    Returns the copy; raises Failure if any of this fails. While packages are being installed, the system's folder has
    another name, so that a later run does not use what a killed run left."""
    root, unfinished = CACHE / name, CACHE / f"{name}.unfinished"
    remove(unfinished)
    if root.exists():
        Place(name, root).must(UPDATE, "not tried: the mirror does not answer", "/")
        root.rename(unfinished)
    elif not make_bare_debian(unfinished, release):
        raise Failure("not tried: no bare Debian (needs debootstrap and a mirror)")
    place = Place(name, unfinished)
    place.bring_sources()
    place.must(f"{UPDATE} && DEBIAN_FRONTEND=noninteractive apt-get upgrade -q -y && {install}", "not tried: packages are missing")
    unfinished.rename(root)
    return Place(name, root)

"""Makes a bare Debian in a folder, for tests that need a freshly installed system. Needs root, debootstrap and the
mirror that this machine's apt uses."""

import os
import platform
import re
import subprocess

# This machine's release, such as "bookworm".
RELEASE = platform.freedesktop_os_release()["VERSION_CODENAME"]
# Runs a command in its own mount and process namespaces, so that no mount or process remains, even if this process is
# killed.
ALONE = ("setpriv", "--pdeathsig", "KILL", "unshare", "--mount", "--pid", "--fork", "--kill-child", "--mount-proc")


def debian_mirror():
    """Returns the address of the mirror, or None."""
    listed = subprocess.run(["apt-get", "indextargets", "--format", "$(CODENAME) $(REPO_URI)"], capture_output=True,
                            text=True, check=False).stdout
    mirror = re.search(rf"^{RELEASE} (\S+)$", listed, re.MULTILINE)
    return mirror and mirror[1]


def make_bare_debian(root, release=RELEASE):
    """Makes a bare Debian in `root`. Returns False without root privileges or a mirror, or if debootstrap fails."""
    mirror = debian_mirror()
    if mirror is None or os.geteuid() != 0 or subprocess.run(
            [*ALONE, "debootstrap", "--variant=minbase", release, root, mirror], stdout=subprocess.DEVNULL, check=False).returncode != 0:
        return False
    with open(f"{root}/etc/hosts", "a", encoding="ascii") as hosts:  # As in an installed system.
        hosts.write("127.0.0.1 localhost\n")
    return True


def enter(root):
    """Returns the words to put before a command so that it runs in `root`. They mount what commands need there: /proc
    for $ORIGIN, /dev/shm for the browser, /dev/pts for terminals, and `root` itself for entering another Debian
    inside it."""
    mounts = """mount --bind "$0" "$0"; mount -t proc proc "$0/proc"; mkdir -p "$0/dev/shm" "$0/dev/pts"; mount -t tmpfs tmpfs "$0/dev/shm"
        mount -t devpts -o newinstance,ptmxmode=0666,mode=0620 devpts "$0/dev/pts"
        mount --bind "$0/dev/pts/ptmx" "$0/dev/ptmx"; exec chroot "$0" "$@" """
    return (*ALONE, "sh", "-ec", mounts, root)

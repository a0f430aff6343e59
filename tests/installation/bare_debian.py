"""A bare Debian in a folder, for what must work where nothing is installed. Making one needs root, debootstrap and the mirror
that this machine's apt uses."""

import os
import platform
import re
import subprocess

# This machine's release, such as "bookworm".
RELEASE = platform.freedesktop_os_release()["VERSION_CODENAME"]
# Commands that mount something, or start what might outlive them, have their own mounts and process numbers, so that nothing
# is left behind, not even when this process is killed.
ALONE = ("setpriv", "--pdeathsig", "KILL", "unshare", "--mount", "--pid", "--fork", "--kill-child", "--mount-proc")


def debian_mirror():
    """The address of the mirror, or None."""
    told = subprocess.run(["apt-get", "indextargets", "--format", "$(CODENAME) $(REPO_URI)"], capture_output=True, text=True,
                          check=False).stdout
    mirror = re.search(rf"^{RELEASE} (\S+)$", told, re.MULTILINE)
    return mirror and mirror[1]


def make_bare_debian(root, release=RELEASE):
    """Makes a bare Debian in the folder `root`. Returns False without root privileges or without a mirror."""
    mirror = debian_mirror()
    if mirror is None or os.geteuid() != 0 or subprocess.run(
            [*ALONE, "debootstrap", "--variant=minbase", release, root, mirror], stdout=subprocess.DEVNULL, check=False).returncode != 0:
        return False
    with open(f"{root}/etc/hosts", "a", encoding="ascii") as hosts:  # An installed system can resolve its own name.
        hosts.write("127.0.0.1 localhost\n")
    return True


def enter(root):
    """What goes in front of a command that runs in `root`: $ORIGIN is known where /proc is, the browser keeps pages in
    /dev/shm, terminals are made in /dev/pts, and where the root itself is mounted, the command can enter a Debian in it."""
    mounts = """mount --bind "$0" "$0"; mount -t proc proc "$0/proc"; mkdir -p "$0/dev/shm" "$0/dev/pts"; mount -t tmpfs tmpfs "$0/dev/shm"
        mount -t devpts -o newinstance,ptmxmode=0666,mode=0620 devpts "$0/dev/pts"
        mount --bind "$0/dev/pts/ptmx" "$0/dev/ptmx"; exec chroot "$0" "$@" """
    return (*ALONE, "sh", "-ec", mounts, root)

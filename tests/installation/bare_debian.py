"""A bare Debian 12 in a folder, for what must work where nothing is installed. Making one takes root, debootstrap and the
mirror that this machine's apt uses."""

import os
import re
import subprocess


def debian_mirror():
    """The address of the mirror, or None."""
    told = subprocess.run(["apt-get", "indextargets", "--format", "$(CODENAME) $(REPO_URI)"], capture_output=True, text=True,
                          check=False).stdout
    mirror = re.search(r"^bookworm (\S+)$", told, re.MULTILINE)
    return mirror and mirror[1]


def make_bare_debian(root):
    """Makes one in the folder `root`; False where there is no root or no mirror."""
    mirror = debian_mirror()
    return mirror is not None and os.geteuid() == 0 and subprocess.run(
        ["debootstrap", "--variant=minbase", "bookworm", root, mirror], stdout=subprocess.DEVNULL, check=False).returncode == 0


def enter(root):
    """What goes in front of a command that runs in `root`. The mounts end with the command: $ORIGIN is known where /proc is,
    the browser keeps pages in /dev/shm."""
    mounts = 'mount -t proc proc "$0/proc"; mkdir -p "$0/dev/shm"; mount -t tmpfs tmpfs "$0/dev/shm"; exec chroot "$0" "$@"'
    return ("unshare", "--mount", "sh", "-ec", mounts, root)

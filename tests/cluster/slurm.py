"""Runs a one-machine Slurm for tests: munged, slurmctld and slurmd, with all their files in one folder.

Any user can start it, and the jobs run as that user. It needs neither systemd nor cgroups nor a database. All daemons
and their orphaned processes become children of the test, which ends them by their process ids."""

import ctypes
import os
import shutil
import signal
import socket
import subprocess
import tempfile
import time
from pathlib import Path

PR_SET_PDEATHSIG, PR_SET_CHILD_SUBREAPER = 1, 36
LIBC = ctypes.CDLL(None, use_errno=True)
# Reasons for some settings:
# - linuxproc, task/none, jobacct_gather/none: cgroups would need systemd;
# - config_overrides: several jobs run at once even on a machine with fewer processors than configured;
# - BatchStartTimeout: after a reconfiguration, the controller notices within seconds that a job's step has vanished;
# - MinJobAge: a job's state remains available long after the job's end.
CONFIGURATION = """\
ClusterName=tavik
SlurmctldHost={host}(127.0.0.1)
SlurmUser={user}
SlurmdUser={user}
SlurmctldPort={ports[0]}
SlurmdPort={ports[1]}
AuthType=auth/munge
AuthInfo=socket={folder}/munge/socket
CredType=cred/munge
MpiDefault=none
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
JobAcctGatherType=jobacct_gather/none
ReturnToService=2
SelectType=select/cons_tres
SelectTypeParameters=CR_Core_Memory
SchedulerParameters=batch_sched_delay=0,sched_min_interval=0,bf_interval=1
SlurmdParameters=config_overrides
SlurmdTimeout=15
BatchStartTimeout=3
MinJobAge=900
KillWait=2
StateSaveLocation={folder}/state
SlurmdSpoolDir={folder}/spool
SlurmctldPidFile={folder}/slurmctld.pid
SlurmdPidFile={folder}/slurmd.pid
NodeName={host} NodeAddr=127.0.0.1 CPUs={cpus} RealMemory={memory_mb} State=UNKNOWN
PartitionName=main Nodes={host} Default=YES MaxTime=INFINITE State=UP
"""


def free_ports(count):
    sockets = [socket.socket() for _ in range(count)]
    for each in sockets:
        each.bind(("127.0.0.1", 0))
    ports = [each.getsockname()[1] for each in sockets]
    for each in sockets:
        each.close()
    return ports


def processes():
    """Returns every process of the machine that has not ended: {id: (parent's id, command line)}."""
    found = {}
    for entry in Path("/proc").iterdir():
        if entry.name.isdigit():
            try:
                state, parent = (entry / "stat").read_text().rsplit(") ", 1)[1].split()[:2]
                command = (entry / "cmdline").read_bytes().replace(b"\0", b" ").decode(errors="replace")
                if state != "Z":
                    found[int(entry.name)] = (int(parent), command)
            except (OSError, IndexError):
                pass  # The process has ended since it was listed.
    return found


def state_of(process):
    """Returns the letter of a process's state: T if it is stopped, Z if it has ended or no longer exists."""
    try:
        return Path(f"/proc/{process}/stat").read_text().rsplit(") ", 1)[1][0]
    except OSError:
        return "Z"


def descendants(root):
    """Returns the ids and command lines of all descendants of process `root`."""
    table = processes()
    found, front = {}, [root]
    while front:
        front = [process for process, (parent, _) in table.items() if parent in front]
        found.update((process, table[process][1]) for process in front)
    return found


def wait_for(what, condition, seconds=60):
    """Returns the first true result of `condition`. Raises TimeoutError, which names `what`, after `seconds`."""
    deadline = time.monotonic() + seconds
    while time.monotonic() < deadline:
        if answer := condition():
            return answer
        time.sleep(0.02)
    raise TimeoutError(f"waited {seconds} s for {what}")


class Slurm:
    def __init__(self, cpus, memory_mb):
        self.host = socket.gethostname().split(".")[0]
        self.folder = Path(tempfile.mkdtemp(prefix="tavik_slurm_"))
        self.daemons = []
        (self.folder / "munge").mkdir(mode=0o700)
        for name in ("state", "spool"):
            (self.folder / name).mkdir()
        key = self.folder / "munge" / "key"
        key.write_bytes(os.urandom(128))
        key.chmod(0o600)
        user = subprocess.run(["id", "-un"], capture_output=True, text=True, check=True).stdout.strip()
        self.configuration = self.folder / "slurm.conf"
        self.configuration.write_text(CONFIGURATION.format(
            host=self.host, user=user, ports=free_ports(2), folder=self.folder, cpus=cpus, memory_mb=memory_mb))
        os.environ["SLURM_CONF"] = str(self.configuration)

    def __enter__(self):
        # Makes orphaned processes children of this process, so that it can find and end them.
        LIBC.prctl(PR_SET_CHILD_SUBREAPER, 1)
        try:
            munge = self.folder / "munge"
            self.start("munged", "--foreground", "--force", f"--socket={munge}/socket", f"--key-file={munge}/key",
                       f"--pid-file={munge}/pid", f"--log-file={munge}/log", f"--seed-file={munge}/seed",
                       "--num-threads=2")
            wait_for("munged's socket", (munge / "socket").exists, 20)
            self.start("slurmctld", "-D", "-c", "-f", str(self.configuration))
            self.start("slurmd", "-D", "-f", str(self.configuration))
            wait_for("an idle node", lambda: self.node_state() == "idle", 30)
        except BaseException:
            self.__exit__()
            print(self.logs())
            raise
        return self

    def start(self, program, *args):
        path = shutil.which(program, path=f"{os.environ['PATH']}:/usr/sbin:/sbin")
        with open(self.folder / f"{program}.log", "wb") as log:
            self.daemons.append(subprocess.Popen(
                [path, *args], stdin=subprocess.DEVNULL, stdout=log, stderr=log, cwd="/",
                preexec_fn=lambda: LIBC.prctl(PR_SET_PDEATHSIG, signal.SIGKILL)))

    def __exit__(self, *_):
        for daemon in reversed(self.daemons):
            daemon.terminate()
        for daemon in self.daemons:
            try:
                daemon.wait(10)
            except subprocess.TimeoutExpired:
                daemon.kill()
                daemon.wait()
        # Job steps and orphans remain. The children of a process that ends become children of this process.
        deadline = time.monotonic() + 20
        while (left := descendants(os.getpid())) and time.monotonic() < deadline:
            for process in left:
                try:
                    os.kill(process, signal.SIGKILL)
                except ProcessLookupError:
                    pass
            try:
                while os.waitpid(-1, os.WNOHANG)[0]:
                    pass
            except ChildProcessError:
                pass
            time.sleep(0.05)

    def logs(self):
        return "".join(f"--- {path.name}\n" + "".join(path.read_text(errors="replace").splitlines(True)[-15:])
                       for path in sorted(self.folder.glob("*.log")))

    def remove(self):
        shutil.rmtree(self.folder, ignore_errors=True)

    def ask(self, *command):
        return subprocess.run(command, capture_output=True, text=True, check=False, timeout=30).stdout.strip()

    def node_state(self):
        return self.ask("sinfo", "-h", "-o", "%t")

    def set_node(self, state):
        subprocess.run(["scontrol", "update", f"nodename={self.host}", f"state={state}", "reason=test"], check=True,
                       timeout=30)

    def jobs(self):
        """Returns all unfinished jobs: {number: state}."""
        return dict(line.split() for line in self.ask("squeue", "-h", "-o", "%i %T").splitlines())

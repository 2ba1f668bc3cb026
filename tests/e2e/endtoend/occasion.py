"""Folders made on this machine for one occasion, and removed whatever happens."""

from __future__ import annotations

import ctypes
import os
import select
import shutil
import signal
import subprocess
import sys
import tempfile
import traceback
from collections.abc import Callable

from endtoend import plan
from endtoend.account import Account
from endtoend.privilege import Refused
from endtoend.suite import LOCAL_FOLDERS

FUSED = "HarrowinStelbrin"
PATIENCE_SECONDS = 5.0
PR_SET_CHILD_SUBREAPER = 36


def refuse_if_in_the_way() -> None:
    """Raises Refused if a folder exists already, or a process has a name that is stopped."""
    for folder in LOCAL_FOLDERS:
        if os.path.lexists(folder):
            raise Refused(f"{folder} exists already")
    for name in (*plan.STOPPED, FUSED):
        if subprocess.run(["killall", "--signal", "0", "--quiet", name]).returncode == 0:
            raise Refused(f"a process named {name} is running")


def _make(account: Account) -> list[str]:
    for folder in LOCAL_FOLDERS:
        os.mkdir(folder)
        os.chown(folder, account.uid, account.gid)
    # On the device of the machine-wide folders, so that all goes to the Trash of this home.
    device = os.stat("/").st_dev
    parent = next(parent for parent in ("/var/tmp", "/tmp", "/")
                  if os.stat(parent).st_dev == device)
    home = tempfile.mkdtemp(prefix="kelvane-home-", dir=parent)
    os.chown(home, account.uid, account.gid)
    return [home, tempfile.mkdtemp(prefix="kelvane-session-"), *LOCAL_FOLDERS]


def _fork(task: Callable[[], int]) -> int:
    """Starts a process that does a task and ends with its status, and returns its id."""
    sys.stdout.flush()
    if child := os.fork():
        return child
    status = 1
    try:
        status = task()
        sys.stdout.flush()
    except Exception:
        traceback.print_exc()
    finally:
        os._exit(status)


def _work_in_group(work: Callable[[str, str], int], folders: list[str]) -> int:
    os.setpgid(0, 0)
    signal.signal(signal.SIGTERM, signal.SIG_DFL)
    return work(folders[0], folders[1])


def _adopt_orphans() -> None:
    ctypes.CDLL(None).prctl(PR_SET_CHILD_SUBREAPER, 1)


def _end_all(worker: int, ended: int) -> int:
    """Ends the worker's group, then all remaining descendants of this process, and returns the
    worker's status."""
    try:
        os.killpg(worker, signal.SIGTERM)
    except ProcessLookupError:
        pass  # It was ended before it had its group.
    select.select([ended], [], [], PATIENCE_SECONDS)
    status = 0
    while children := _children():
        for child in children:
            os.kill(child, signal.SIGKILL)
            code = os.waitstatus_to_exitcode(os.waitpid(child, 0)[1])
            status = code if child == worker else status
    return status


def _children() -> list[int]:
    with open(f"/proc/self/task/{os.getpid()}/children", encoding="ascii") as file:
        return [int(number) for number in file.read().split()]


def _keep_house(account: Account, alive: int, work: Callable[[str, str], int]) -> int:
    """Creates the folders, lets a child do the work, and removes the folders once the child has
    ended or the reader `alive` says that this process's parent has."""
    _adopt_orphans()
    folders = _make(account)
    try:
        worker = _fork(lambda: _work_in_group(work, folders))
        ended = os.pidfd_open(worker)
        select.select([ended, alive], [], [])
        return _end_all(worker, ended)
    finally:
        for folder in folders:
            shutil.rmtree(folder, ignore_errors=True)


def run(account: Account, work: Callable[[str, str], int]) -> int:
    """Does `work` with the paths of a home folder and a session folder, and returns its status.

    The work runs in its own process group; at its end everything that it started is ended and all
    folders are removed, even if this process is killed.
    """
    alive, hold = os.pipe()

    def keep_house() -> int:
        os.close(hold)
        os.setsid()
        return _keep_house(account, alive, work)

    keeper = _fork(keep_house)
    os.close(alive)
    try:
        return os.waitstatus_to_exitcode(os.waitpid(keeper, 0)[1])
    except KeyboardInterrupt:
        os.close(hold)
        os.waitpid(keeper, 0)
        raise

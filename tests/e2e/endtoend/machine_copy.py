"""A copy of this machine that exists in memory only.

The copy is an overlay of "/" whose upper layer is a tmpfs, in a mount and process namespace of its
own. Whatever is written in it, and every process in it, is gone when its first process ends.
"""

from __future__ import annotations

import os
import subprocess
from collections.abc import Iterable

from endtoend.privilege import Refused

# An empty folder of every Debian machine that never holds what a copy needs to see. Only the
# namespace has the memory mounted there.
SCAFFOLD = "/boot"
# Every user of the copy may open a terminal of its own, which belongs to the group tty, as on every
# Debian machine. The machine's own terminals are not seen.
TERMINAL_OPTIONS = "newinstance,ptmxmode=0666,mode=620,gid=5"
# Folders that may be file systems of their own and that programs are run from.
SYSTEM_FOLDERS = ("/usr", "/etc", "/opt", "/var", "/var/lib")
DEVICES = ("null", "zero", "full", "random", "urandom", "tty")
# Moves between layers need redirect_dir; with xino the whole copy is one device, as programs that
# compare device numbers expect. A kernel that refuses either still makes a usable copy.
OVERLAY_OPTIONS = ("xino=on,redirect_dir=on", "redirect_dir=on", "")

# The status of a command that would need a copy where none can be made.
NO_COPY = 77
# The ordinary user of the copy.
USER = "kelvane"
PASSWORD = "eleven apples"
# Closed to all but root.
OWN_FOLDER = "/run/throwaway-copy"
CHANGES = f"{OWN_FOLDER}/changes"


def _run(*command: str) -> None:
    done = subprocess.run(command, capture_output=True, text=True)
    if done.returncode != 0:
        reason = (done.stderr.strip() or f"status {done.returncode}").splitlines()[-1]
        raise Refused(f"{command[0]} was refused: {reason}")


def _overlay(lower: str, target: str, name: str) -> None:
    upper, work = f"{SCAFFOLD}/{name}.upper", f"{SCAFFOLD}/{name}.work"
    os.mkdir(upper)
    os.mkdir(work)
    layers = f"lowerdir={lower},upperdir={upper},workdir={work}"
    for extra in OVERLAY_OPTIONS:
        try:
            return _run("mount", "-t", "overlay", "overlay", "-o",
                        ",".join(filter(None, (layers, extra))), target)
        except Refused as refusal:
            last = refusal
    raise last


def _bind(source: str, target: str, *, writable: bool) -> None:
    os.makedirs(target, exist_ok=True)
    _run("mount", "--bind", source, target)
    if not writable:
        _run("mount", "-o", "remount,bind,ro", target)


def _open_the_way(root: str, path: str) -> None:
    """Lets every user of the copy reach a path."""
    os.makedirs(root + path, exist_ok=True)
    folder = os.path.dirname(path)
    while folder != "/":
        os.chmod(root + folder, os.stat(root + folder).st_mode | 0o111)
        folder = os.path.dirname(folder)


def _make_devices(root: str) -> None:
    _run("mount", "-t", "tmpfs", "-o", "mode=755", "tmpfs", f"{root}/dev")
    for name in DEVICES:
        with open(f"{root}/dev/{name}", "xb"):
            pass
        _run("mount", "--bind", f"/dev/{name}", f"{root}/dev/{name}")
    for name in ("pts", "shm"):
        os.mkdir(f"{root}/dev/{name}")
    _run("mount", "-t", "devpts", "-o", TERMINAL_OPTIONS, "devpts", f"{root}/dev/pts")
    _run("mount", "-t", "tmpfs", "-o", "mode=1777", "tmpfs", f"{root}/dev/shm")
    for name, target in (("ptmx", "pts/ptmx"), ("fd", "/proc/self/fd"),
                         ("stdin", "fd/0"), ("stdout", "fd/1"), ("stderr", "fd/2")):
        os.symlink(target, f"{root}/dev/{name}")


def _make_kernel_folders(root: str) -> None:
    _run("mount", "-t", "proc", "proc", f"{root}/proc")
    _run("mount", "--rbind", "/sys", f"{root}/sys")
    for folder, mode in (("run", "755"), ("tmp", "1777")):
        _run("mount", "-t", "tmpfs", "-o", f"mode={mode}", "tmpfs", f"{root}/{folder}")
    os.mkdir(f"{root}/tmp/.X11-unix")
    os.chmod(f"{root}/tmp/.X11-unix", 0o1777)
    _make_devices(root)


def _change_root(root: str) -> None:
    old = "/run/old-root"
    os.mkdir(root + old)
    try:
        _run("pivot_root", root, root + old)
    except Refused:
        # The machine's own root is not a mount, as in a chroot.
        os.chroot(root)
    else:
        os.chdir("/")
        _run("umount", "--lazy", old)
    os.chdir("/")
    os.rmdir(old)


def enter(tree: str, writable: Iterable[str], sockets: str | None) -> None:
    """Makes the copy and moves this process into it.

    Called as root by the first process of new mount and process namespaces. The folder `tree`
    appears read-only at its own path; the folders `writable` and the folder of sockets are the
    machine's own. Root sees the differences from the machine at CHANGES. Raises Refused if the
    kernel does not allow the copy.
    """
    _run("mount", "-t", "tmpfs", "-o", "mode=755", "tmpfs", SCAFFOLD)
    root = f"{SCAFFOLD}/root"
    os.mkdir(root)
    _overlay("/", root, "root")
    for index, folder in enumerate(SYSTEM_FOLDERS):
        if os.path.ismount(folder):
            _overlay(folder, root + folder, f"system{index}")
    _make_kernel_folders(root)

    _open_the_way(root, tree)
    _bind(tree, root + tree, writable=False)
    for folder in writable:
        _bind(folder, root + folder, writable=True)
    if sockets:
        _bind(sockets, root + sockets, writable=True)
    os.mkdir(root + OWN_FOLDER, mode=0o700)
    _bind(f"{SCAFFOLD}/root.upper", root + CHANGES, writable=False)

    _change_root(root)

"""Bare Debians in which to try this tree and its packages. They are made once, and kept in a cache
folder."""

from __future__ import annotations

import ctypes
import os
import shutil
import subprocess
import sys
import tempfile
from collections.abc import Callable, Iterator
from contextlib import contextmanager

TREE = os.path.dirname(os.path.dirname(os.path.dirname(os.path.realpath(__file__))))
SUITES = {"12": "bookworm", "13": "trixie"}
SKIPPED = 77
CLONE_NEWNS = 0x20000


class CommandFailed(Exception):
    """A command's name and all of its output."""


def run(*command: str, **more: object) -> str:
    done = subprocess.run(command, check=False, text=True, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, **more)  # type: ignore[call-overload]
    if done.returncode != 0:
        raise CommandFailed(f"{' '.join(command)} ended with {done.returncode}\n{done.stdout}")
    return str(done.stdout)


class Debian:
    """A Debian below a folder, with this tree in it."""

    ENVIRONMENT = {"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "DEBIAN_FRONTEND": "noninteractive",
                   "LC_ALL": "C.UTF-8", "HOME": "/root"}
    SOURCE = "/src"

    def __init__(self, root: str) -> None:
        self.root = root

    def run(self, *command: str) -> str:
        return run("chroot", self.root, *command, env=self.ENVIRONMENT)

    def run_here(self, *command: str) -> None:
        """Runs a command in the folder of this tree."""
        self.run("env", "--chdir", self.SOURCE, *command)

    def run_here_aloud(self, *command: str) -> int:
        """The same, but shows what the command prints, and returns its status."""
        return subprocess.run(["chroot", self.root, "env", "--chdir", self.SOURCE, *command],
                              check=False, env=self.ENVIRONMENT).returncode

    def install(self, *names: str) -> None:
        self.run("apt-get", "-qq", "update")
        self.run("apt-get", "-qq", "-y", "--no-install-recommends", "install", *names)


class Release:
    """A release of Debian, by its number. The process must be in a mount namespace of its own."""

    def __init__(self, number: str, cache: str) -> None:
        self.number = number
        self.suite = SUITES[number]
        self._cache = os.path.join(os.path.realpath(cache), number)
        self._bare = self._cache + "/bare"
        # Mounted as this tree's folder "build" in each Debian of the release.
        self.build = self._cache + "/output"
        for folder in (self.build, f"{TREE}/build"):
            os.makedirs(folder, exist_ok=True)

    def bootstrap(self) -> None:
        self._cached(self._bare, self._bootstrap)

    @contextmanager
    def debian(self, name: str = "bare",
               prepare: Callable[[Debian], None] | None = None) -> Iterator[Debian]:
        """Returns a Debian that forgets all changes, except in the build folder. The result of
        `prepare` on a bare one is kept in the cache under the name."""
        tree = f"{self._cache}/{name}"
        if prepare is not None:
            self._cached(tree, lambda unfinished: self._prepare(unfinished, prepare))
        memory = tempfile.mkdtemp()
        run("mount", "-t", "tmpfs", "-o", "mode=755", "debian", memory)
        try:
            for folder in ("root", "upper", "work"):
                os.mkdir(f"{memory}/{folder}")
            run("mount", "-t", "overlay", "debian", f"{memory}/root", "-o",
                f"lowerdir={tree},upperdir={memory}/upper,workdir={memory}/work")
            with self._mounted(f"{memory}/root") as debian:
                yield debian
        finally:
            run("umount", "--recursive", "--lazy", memory)
            os.rmdir(memory)

    def _cached(self, tree: str, make: Callable[[str], None]) -> None:
        """Makes a tree that is missing, under another name first."""
        if not os.path.isdir(tree):
            unfinished = tree + ".unfinished"
            shutil.rmtree(unfinished, ignore_errors=True)
            make(unfinished)
            os.rename(unfinished, tree)

    def _bootstrap(self, tree: str) -> None:
        mirrors = run("apt-get", "indextargets", "--format", "$(REPO_URI)",
                      "Created-By: Packages", "Origin: Debian", "Label: Debian").split()
        if not mirrors:
            raise CommandFailed("apt has no source of Debian's packages")
        run("debootstrap", "--variant=minbase", self.suite, tree, mirrors[0])
        with open(f"{tree}/etc/dpkg/dpkg.cfg.d/unsafe-io", "w", encoding="utf-8") as settings:
            settings.write("force-unsafe-io\n")

    def _prepare(self, tree: str, prepare: Callable[[Debian], None]) -> None:
        run("cp", "-a", self._bare, tree)
        with self._mounted(tree) as debian:
            prepare(debian)

    @contextmanager
    def _mounted(self, root: str) -> Iterator[Debian]:
        source = root + Debian.SOURCE
        os.makedirs(source, exist_ok=True)
        shutil.copy("/etc/resolv.conf", root + "/etc/resolv.conf")
        run("mount", "-t", "proc", "proc", root + "/proc")
        run("mount", "--rbind", "/dev", root + "/dev")
        run("mount", "--bind", "-o", "ro", TREE, source)
        run("mount", "--bind", self.build, source + "/build")
        try:
            yield Debian(root)
        finally:
            for folder in (source, root + "/dev", root + "/proc"):
                run("umount", "--recursive", "--lazy", folder)


def enter_mount_namespace() -> None:
    if os.getuid() != 0:
        raise CommandFailed("only root can make one")
    if ctypes.CDLL(None).unshare(CLONE_NEWNS) != 0:
        raise CommandFailed("mounting is not allowed")
    run("mount", "--make-rprivate", "/")


def release_or_skip(number: str, cache: str) -> Release:
    """Returns the release, bootstrapped. If that is not possible, says why and ends with status
    77."""
    if number not in SUITES:
        sys.exit(f"The releases are {' and '.join(SUITES)}.")
    try:
        enter_mount_namespace()
        release = Release(number, cache)
        release.bootstrap()
        return release
    except (CommandFailed, FileNotFoundError) as failure:
        print(f"No bare Debian {number}: {str(failure).splitlines()[-1]}.")
        sys.exit(SKIPPED)

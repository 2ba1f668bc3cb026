"""The suite's background jobs: running before an uninstall, gone without trace after it."""

from __future__ import annotations

import os
import select
from dataclasses import dataclass
from functools import partial

from endtoend import plan
from endtoend.account import Account
from endtoend.waiting import PATIENCE_SECONDS, wait_for


class NoManager(Exception):
    """There is no service manager to load jobs; the text is what launchctl said."""


@dataclass(frozen=True)
class _Job:
    label: str
    process: int
    # Becomes readable when the process has ended.
    ended: int


class Agents:
    """The jobs of an account's home folder, in the hands of its service manager."""

    def __init__(self, account: Account, launchctl: str) -> None:
        self._account = account
        self._launchctl = launchctl
        self._jobs: list[_Job] = []

    def load(self) -> None:
        """Loads every job and checks that it runs. Raises NoManager if that is impossible."""
        for label, program in plan.AGENTS.items():
            done = self._account.run([self._launchctl, "load", self._file(label)])
            if done.returncode != 0:
                raise NoManager(done.stderr.decode().strip())
            process = wait_for(f"the job {label} to run", lambda: self._process(label, program))
            self._jobs.append(_Job(label, process, os.pidfd_open(process)))

    def look(self, are_files_kept: bool = False) -> list[str]:
        """Prints in one line what is left of each job, and returns everything that should be
        gone."""
        problems = []
        for job in self._jobs:
            has_ended = bool(select.select([job.ended], [], [], PATIENCE_SECONDS)[0])
            left = [] if has_ended else [f"process {job.process}"]
            if os.path.lexists(self._file(job.label)) and not are_files_kept:
                left.append("its file")
            left += self._units(job.label)
            gone = "process or unit" if are_files_kept else "process, file or unit"
            what = f"still has {', '.join(left)}" if left else f"has no {gone} any more"
            print(f"The job {job.label}, which was running, {what}")
            problems += [f"of the job {job.label} there is still {thing}" for thing in left]
        return problems

    def close(self) -> None:
        """Watches the processes no longer: a descriptor is open for each."""
        for job in self._jobs:
            os.close(job.ended)
        self._jobs.clear()

    def wait_until_running(self) -> None:
        """Waits until every job that was loaded runs."""
        for label in [job.label for job in self._jobs]:
            program = plan.AGENTS[label]
            wait_for(f"the job {label} to run again", partial(self._process, label, program))

    def _file(self, label: str) -> str:
        return f"{self._account.home}/Library/LaunchAgents/{label}.plist"

    def _process(self, label: str, program: str) -> int | None:
        """Returns the job's process, once it runs the program."""
        lines = self._account.run([self._launchctl, "list"]).stdout.decode().splitlines()
        for process, _, name in (line.split("\t") for line in lines[1:]):
            if name == label and process.isdigit() and _executable(process) == program:
                return int(process)
        return None

    def _units(self, label: str) -> list[str]:
        """Returns the manager's units of the job, and the files of units."""
        listed = self._account.run(["systemctl", "--user", "--no-pager", "--plain", "--no-legend",
                                    "list-units", "--all", f"{label}.*"])
        if listed.returncode != 0:
            return [f"a question: {listed.stderr.decode().strip()}"]
        known = [line.split()[0] for line in listed.stdout.decode().splitlines()]
        files = [os.path.join(folder, name)
                 for folder, folders, names in os.walk(f"{self._account.home}/.config/systemd")
                 for name in folders + names if name.startswith(f"{label}.")]
        return known + files


def _executable(process: str) -> str:
    try:
        return os.readlink(f"/proc/{process}/exe")
    except OSError:
        return ""

"""The administrator's right in a copy of the machine: the services that grant it, and the person at
the password question."""

from __future__ import annotations

import os
import select
import subprocess
from enum import Enum

from endtoend.account import Account
from endtoend.machine_copy import PASSWORD
from endtoend.privilege import Refused
from endtoend.waiting import PATIENCE_SECONDS, TooLate

SERVICES = os.path.join(os.path.dirname(os.path.dirname(os.path.realpath(__file__))),
                        "copy-services")
# pkexec becomes the helper; the other tools are the program's own.
TOOLS = (b"pkexec\n", b"kelvane-helper\n", b"launchctl\n", b"killall\n")


class Right(Enum):
    """What becomes of the administrator's right in an uninstall."""

    # Every item of the plan belongs to the account.
    NOT_NEEDED = "not-needed"
    GIVEN = "given"
    REFUSED = "refused"


def start_services() -> None:
    """Starts what a question for the password needs. Once in a copy, before a service manager."""
    started = subprocess.run([SERVICES], capture_output=True, text=True)
    if started.returncode != 0:
        raise Refused(f"the system bus does not start: {started.stderr.strip()}")


class Person:
    """Plays the desktop's polkit agent and the person there, for one program."""

    def __init__(self, account: Account, agent: str, program: int, right: Right) -> None:
        manner = ["answer", PASSWORD] if right is Right.GIVEN else ["dismiss"]
        self._agent = account.start([agent, str(program), *manner], stdin=subprocess.PIPE,
                                    stdout=subprocess.PIPE)
        assert self._agent.stdout is not None
        if self._agent.stdout.readline() != b"ready\n":
            self._agent.communicate()
            raise RuntimeError("polkit takes no agent for the password question")

    def leave(self) -> int:
        """Ends the agent and returns the number of questions that it was asked."""
        answered, _ = self._agent.communicate()
        return answered.count(b"asked\n")


def wait_for_tools() -> None:
    """Waits for the tools that outlive the program: a helper ends with its last tool."""
    for process in filter(str.isdigit, os.listdir("/proc")):
        try:
            with open(f"/proc/{process}/comm", "rb") as name:
                if name.read() not in TOOLS:
                    continue
            ended = os.pidfd_open(int(process))
        except OSError:
            continue  # It has ended by now.
        is_done = bool(select.select([ended], [], [], PATIENCE_SECONDS)[0])
        os.close(ended)
        if not is_done:
            raise TooLate("tools of the program are still at work")

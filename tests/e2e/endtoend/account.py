"""The account as which a program is run."""

from __future__ import annotations

import os
import pwd
import subprocess
from collections.abc import Mapping, Sequence
from dataclasses import dataclass, field
from typing import Any

PATH = "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin"


@dataclass(frozen=True)
class Account:
    """A user of this machine, with the environment of a fresh session of that user."""

    name: str
    uid: int
    gid: int
    home: str
    variables: Mapping[str, str] = field(default_factory=dict)

    @staticmethod
    def named(name: str, variables: Mapping[str, str] | None = None) -> Account:
        entry = pwd.getpwnam(name)
        return Account(name, entry.pw_uid, entry.pw_gid, entry.pw_dir, variables or {})

    def environment(self) -> dict[str, str]:
        own = {"HOME": self.home, "USER": self.name, "LOGNAME": self.name,
               "SHELL": "/bin/bash", "PATH": PATH, "LANG": "C.UTF-8"}
        if "TERM" in os.environ:
            own["TERM"] = os.environ["TERM"]
        return {**own, **self.variables}

    def start(self, command: Sequence[str], **options: Any) -> subprocess.Popen[bytes]:
        """Starts a command as this user."""
        if os.geteuid() == 0 and self.uid != 0:
            groups = os.getgrouplist(self.name, self.gid)
            options |= {"user": self.uid, "group": self.gid, "extra_groups": groups}
        options.setdefault("cwd", self.home)
        return subprocess.Popen(command, env=self.environment(), **options)

    def run(self, command: Sequence[str], **options: Any) -> subprocess.CompletedProcess[bytes]:
        """Runs a command as this user to its end and returns its output."""
        with self.start(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                        stderr=subprocess.PIPE, **options) as process:
            out, errors = process.communicate()
        return subprocess.CompletedProcess(command, process.returncode, out, errors)

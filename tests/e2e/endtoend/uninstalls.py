"""Silent uninstalls of the sample suite, by the uninstaller and by a shell script, to be timed."""

from __future__ import annotations

import os
import shutil
import subprocess

from endtoend import plan
from endtoend.account import Account
from endtoend.suite import LOCAL_FOLDERS, MATCHING_RECEIPTS, SampleSuite

TREE = os.path.dirname(os.path.dirname(os.path.dirname(os.path.dirname(
    os.path.realpath(__file__)))))
PROGRAM = f"{TREE}/build/release/app/kelvane-uninstaller"
SCRIPT = """
labels=("$@")
killall -q {processes}
systemctl --user disable --now "${{labels[@]}}"
rm -f "${{labels[@]/#/$HOME/Library/LaunchAgents/}}"
items=()
while IFS= read -r -d '' item; do
    if [[ -e $item ]]; then items+=("$item"); fi
done
gio trash "${{items[@]}}"
"""


def install(home: str, files: int) -> Account:
    """Installs the suite anew, with so many more files, and returns root with this home."""
    for folder in LOCAL_FOLDERS:
        shutil.rmtree(folder, ignore_errors=True)
    os.makedirs(home)
    SampleSuite("", home, cache_files=10, more_files=files).install()
    return Account("root", 0, 0, home)


def items(home: str) -> list[str]:
    """What an uninstall takes away, each once, as far as it exists."""
    places = plan.places("", home, [*MATCHING_RECEIPTS])
    return [path for path in dict.fromkeys(place.path for place in places) if os.path.exists(path)]


def by_program(account: Account) -> subprocess.CompletedProcess[bytes]:
    return account.run([PROGRAM, "--uninstall", "--remove-shared", "--quiet"])


def by_script(account: Account, afterwards: str = "") -> subprocess.CompletedProcess[bytes]:
    """Runs the script, and further lines of it in the same session."""
    script = SCRIPT.format(processes=" ".join(f"'{name}'" for name in plan.STOPPED)) + afterwards
    agents = [f"{label}.plist" for label in plan.AGENTS]
    paths = [place.path for place in plan.places("", account.home, [*MATCHING_RECEIPTS])
             if place.step not in plan.DELETING_STEPS]
    listed = "\0".join(dict.fromkeys(paths)) + "\0"
    session = ["dbus-run-session", "--"] if afterwards else []
    return subprocess.run([*session, "bash", "-c", script, "uninstall", *agents],
                          env=account.environment(), input=os.fsencode(listed),
                          capture_output=True, check=False)

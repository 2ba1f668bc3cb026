"""scripts/lint on small trees of its own."""

from __future__ import annotations

import os
import shutil
import subprocess
import tempfile
import unittest

TREE = os.path.dirname(os.path.dirname(os.path.dirname(os.path.realpath(__file__))))
WELL_FORMATTED = "int main() {\n    return 0;\n}\n"
BADLY_FORMATTED = "int main( ) { return 0; }\n"


class Lint(unittest.TestCase):
    def setUp(self) -> None:
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.tree = folder.name
        for name in ("scripts/lint", "scripts/check-layers", ".clang-format"):
            os.makedirs(os.path.dirname(f"{self.tree}/{name}"), exist_ok=True)
            shutil.copy(f"{TREE}/{name}", f"{self.tree}/{name}")
        self.git("init", "--quiet")

    def git(self, *words: str) -> None:
        subprocess.run(["git", "-c", "user.name=Someone", "-c", "user.email=someone@example.com",
                        *words], cwd=self.tree, check=True, stdout=subprocess.DEVNULL)

    def write(self, name: str, text: str, mode: int = 0o644) -> None:
        os.makedirs(os.path.dirname(f"{self.tree}/{name}"), exist_ok=True)
        with open(f"{self.tree}/{name}", "w", encoding="utf-8") as file:
            file.write(text)
        os.chmod(f"{self.tree}/{name}", mode)

    def lint(self, *words: str, **environment: str) -> tuple[int, str]:
        done = subprocess.run(["scripts/lint", *words], cwd=self.tree, text=True,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False,
                              env={**os.environ, **environment})
        return done.returncode, done.stdout

    def assert_fails(self, named: str, *words: str) -> None:
        status, said = self.lint(*words)
        self.assertEqual(status, 1, said)
        self.assertIn(named, said)

    def skip_without_the_judge(self) -> None:
        version = subprocess.run(["clang-format", "--version"], capture_output=True, text=True,
                                 check=False).stdout
        if "version 14" not in version:
            self.skipTest(f"clang-format is not of version 14: {version.strip()}")

    def test_passes_what_is_in_order(self) -> None:
        self.write("app/main.cpp", WELL_FORMATTED)
        self.write("scripts/tool", "#!/bin/bash\necho tool\n", 0o755)

        status, said = self.lint("--quick")

        self.assertEqual(status, 0, said)

    def test_finds_a_file_that_is_not_committed_yet(self) -> None:
        self.skip_without_the_judge()
        self.write("app/main.cpp", BADLY_FORMATTED)

        self.assert_fails("app/main.cpp", "--quick")

    def test_looks_at_the_named_files_alone(self) -> None:
        self.skip_without_the_judge()
        self.write("tests/Bad.cpp", BADLY_FORMATTED)
        self.write("tests/Good.cpp", WELL_FORMATTED)

        self.assertEqual(self.lint("tests/Good.cpp")[0], 0)
        self.assert_fails("tests/Bad.cpp", "tests/Bad.cpp")

    def test_takes_names_as_seen_from_where_it_is_called(self) -> None:
        self.skip_without_the_judge()
        self.write("tests/Bad.cpp", BADLY_FORMATTED)

        done = subprocess.run(["../scripts/lint", "Bad.cpp"], cwd=f"{self.tree}/tests", text=True,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)

        self.assertEqual(done.returncode, 1, done.stdout)

    def test_finds_a_layer_that_knows_too_much(self) -> None:
        self.write("util/log/Log.cpp", "#include <unistd.h>\n")

        self.assert_fails("util/log/Log.cpp", "--quick")

    def test_finds_a_fault_in_a_shell_script(self) -> None:
        self.write("scripts/tool", "#!/bin/bash\nrm $1\n", 0o755)

        self.assert_fails("SC2086", "--quick")

    def test_finds_python_that_does_not_compile(self) -> None:
        self.write("tests/tool.py", "def:\n")

        self.assert_fails("SyntaxError", "--quick")

    def test_passes_over_what_was_deleted(self) -> None:
        self.write("app/main.cpp", WELL_FORMATTED)
        self.git("add", ".")
        self.git("commit", "--quiet", "--message", "All")
        os.remove(f"{self.tree}/app/main.cpp")

        status, said = self.lint()

        self.assertEqual(status, 0, said)

    def test_keeps_a_commit_from_being_made_as_a_hook(self) -> None:
        os.symlink("../../scripts/lint", f"{self.tree}/.git/hooks/pre-commit")
        self.write("tests/tool.py", "def:\n")
        self.git("add", ".")

        with self.assertRaises(subprocess.CalledProcessError):
            self.git("commit", "--quiet", "--message", "All")

    def test_says_that_there_is_no_judge(self) -> None:
        self.write("app/main.cpp", BADLY_FORMATTED)
        self.write("bin/clang-format", "#!/bin/sh\necho clang-format version 99.0.0\n", 0o755)

        status, said = self.lint("--quick", PATH=f"{self.tree}/bin:{os.environ['PATH']}")

        self.assertEqual(status, 0, said)
        self.assertIn("skipped: clang-format is version 99; the code is written for version 14\n",
                      said)

    def test_tells_its_usage(self) -> None:
        for words in (["--unknown"], ["--quick", "file"], ["--tidy", "file"]):
            with self.subTest(words=words):
                self.assertEqual(self.lint(*words),
                                 (2, "usage: scripts/lint [--quick | --tidy | FILE...]\n"))


if __name__ == "__main__":
    unittest.main()

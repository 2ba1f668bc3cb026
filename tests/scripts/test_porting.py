#!/usr/bin/python3 -B
"""The page about porting speaks of every port, and of none that is gone."""

from __future__ import annotations

import os
import re
import unittest

TREE = os.path.dirname(os.path.dirname(os.path.dirname(os.path.realpath(__file__))))
PORT_NAME = re.compile(r'portName = "(\w+)"')
SECTION = re.compile(r"^### `platform/(\w+\.h)`(?:: `(\w+)`)?$", re.MULTILINE)


def text_of(path: str) -> str:
    with open(f"{TREE}/{path}", encoding="utf-8") as file:
        return file.read()


class Porting(unittest.TestCase):
    def test_speaks_of_every_port(self) -> None:
        headers = [name for name in os.listdir(f"{TREE}/platform") if name.endswith(".h")]
        ports = {(header, name) for header in headers
                 for name in PORT_NAME.findall(text_of(f"platform/{header}"))}
        sections = set(SECTION.findall(text_of("docs/porting.md")))
        self.assertEqual(ports - sections, set())
        self.assertEqual({header for header, _ in sections}, set(headers))


if __name__ == "__main__":
    unittest.main()

"""What the report on coverage makes of counts, and of the reasons for what no test runs."""

from __future__ import annotations

import os
import sys
import unittest
from typing import Any

sys.path.insert(0, os.path.join(os.path.dirname(os.path.realpath(__file__)), "../coverage"))

import coverage
from coverage import Finding, Place, Segment, Source

TEXT = ["int sign(int number) {", "    if (number < 0) {", "        return -1;", "    }", "    return 1;", "}"]
ENTRY, BACK = (True, True, False), (True, False, False)


def segments(inner: int = 0) -> list[Segment]:
    """Those of TEXT, called 3 times, `inner` of them with a number below 0."""
    return [Segment(1, 22, 3, *ENTRY), Segment(2, 9, 3, *ENTRY), Segment(2, 19, 3, *BACK),
            Segment(2, 20, inner, True, True, True), Segment(2, 21, inner, *ENTRY),
            Segment(4, 6, 3 - inner, True, True, True), Segment(5, 5, 3 - inner, *ENTRY),
            Segment(6, 2, 0, False, False, False)]


def exported(name: str, branches: list[list[int]]) -> dict[str, Any]:
    return {"data": [{"files": [{"filename": name, "segments": [list(one) for one in segments()],
                                 "branches": branches}]}]}


def found(source: Source) -> list[str]:
    return [str(finding) for finding in coverage.findings("util/Sign.cpp", source, TEXT)]


class Coverage(unittest.TestCase):
    def test_a_line_ran_as_often_as_its_part_that_ran_most(self) -> None:
        self.assertEqual({1: 3, 2: 3, 3: 1, 4: 1, 5: 2, 6: 2}, coverage.line_counts(segments(1)))

    def test_a_line_without_code_is_not_counted(self) -> None:
        skipped = [Segment(1, 1, 3, *ENTRY), Segment(3, 1, 0, False, True, False),
                   Segment(3, 20, 3, *BACK), Segment(5, 2, 0, False, False, False)]

        self.assertEqual([1, 2, 4, 5], list(coverage.line_counts(skipped)))

    def test_a_line_behind_a_block_that_returns_ran_as_often_as_what_follows(self) -> None:
        counts = coverage.line_counts([
            Segment(1, 1, 5, *ENTRY), Segment(2, 6, 0, True, False, True), Segment(3, 5, 4, *BACK),
            Segment(4, 2, 0, False, False, False)])

        self.assertEqual({1: 5, 2: 5, 3: 4, 4: 4}, counts)

    def test_a_line_that_never_ran_behind_such_a_block_is_not_taken_for_its_surroundings(self) -> None:
        counts = coverage.line_counts([
            Segment(1, 1, 5, *ENTRY), Segment(2, 6, 0, True, False, True), Segment(3, 5, 0, *ENTRY),
            Segment(3, 15, 5, *BACK), Segment(4, 2, 0, False, False, False)])

        self.assertEqual(0, counts[3])

    def test_a_source_without_code_has_no_lines(self) -> None:
        self.assertEqual({}, coverage.line_counts([]))

    def test_the_instances_of_a_template_are_counted_together(self) -> None:
        counts = coverage.branch_counts([[2, 9, 2, 19, 3, 0, 0, 0, 4], [2, 9, 2, 19, 0, 2, 0, 0, 4]],
                                        segments(), TEXT)

        self.assertEqual({Place(2, 9, 2, 19): (3, 2)}, counts)

    def test_a_condition_whose_result_is_known_is_left_out(self) -> None:
        self.assertEqual({}, coverage.branch_counts([[2, 9, 2, 19, 0, 0, 0, 0, 4]], segments(),
                                                    TEXT))

    def test_a_condition_that_is_never_reached_is_counted(self) -> None:
        self.assertEqual({Place(3, 16, 3, 17): (0, 0)},
                         coverage.branch_counts([[3, 16, 3, 17, 0, 0, 0, 0, 4]], segments(), TEXT))

    def test_that_a_switch_has_no_case_is_left_out(self) -> None:
        text = ["", "switch (number < 0) {"]

        self.assertEqual({}, coverage.branch_counts([[2, 9, 2, 19, 0, 5, 0, 0, 4]], segments(), text))

    def test_only_sources_of_the_product_are_taken(self) -> None:
        for name, taken in (("/tree/util/log/A.cpp", ["util/log/A.cpp"]),
                            ("/tree/tests/util/log/ATest.cpp", []), ("/usr/include/c++/12/string", [])):
            self.assertEqual(taken, list(coverage.sources(exported(name, []), "/tree",
                                                          lambda name: TEXT)), name)

    def test_lines_that_follow_one_another_are_one_finding(self) -> None:
        self.assertEqual(["util/Sign.cpp:3-4: return -1;"],
                         found(Source(coverage.line_counts(segments()))))

    def test_lines_that_ran_separate_findings(self) -> None:
        self.assertEqual(["util/Sign.cpp:1: int sign(int number) {", "util/Sign.cpp:3: return -1;"],
                         found(Source({1: 0, 2: 1, 3: 0})))

    def test_the_end_of_an_empty_block_is_told_by_what_begins_it(self) -> None:
        text = ["} catch (const Failure&) {", "    // nobody is left to tell", "}"]
        [finding] = coverage.findings("util/Sign.cpp", Source({1: 1, 3: 0}), text)

        self.assertEqual("util/Sign.cpp:3: } catch (const Failure&) {", str(finding))

    def test_a_condition_that_only_ever_had_one_result_is_found(self) -> None:
        place = Place(2, 9, 2, 19)

        self.assertEqual(["util/Sign.cpp:2: number < 0 is never true: if (number < 0) {"],
                         found(Source(branches={place: (0, 3)})))
        self.assertEqual(["util/Sign.cpp:2: number < 0 is never false: if (number < 0) {"],
                         found(Source(branches={place: (3, 0)})))
        self.assertEqual([], found(Source(branches={place: (1, 2)})))

    def test_of_a_condition_that_is_never_reached_nothing_is_told(self) -> None:
        self.assertEqual([], found(Source(branches={Place(2, 9, 2, 19): (0, 0)})))

    def test_a_condition_on_several_lines_is_told_in_one(self) -> None:
        self.assertEqual("a && b", coverage.condition(["if (a &&", "    b) {"], Place(1, 5, 2, 6)))

    def test_what_has_a_reason_is_not_told(self) -> None:
        line = Finding("util/Sign.cpp", 3, 4, "return -1;", "")
        branch = Finding("util/Sign.cpp", 2, 2, "if (number < 0) {", "number < 0 is never true")
        reasons = [{"source": "util/Sign.cpp", "text": "return -1;", "reason": "why"},
                   {"source": "util/Sign.cpp", "text": "if (number < 0) {",
                    "never": "number < 0 is never true", "reason": "why"}]

        self.assertEqual(([], []), coverage.judge([line, branch], reasons))
        self.assertEqual(([branch], []), coverage.judge([line, branch], reasons[:1]))

    def test_a_reason_for_another_source_is_none(self) -> None:
        line = Finding("util/Sign.cpp", 3, 4, "return -1;", "")
        reason = {"source": "util/Other.cpp", "text": "return -1;", "reason": "why"}

        self.assertEqual(([line], [reason]), coverage.judge([line], [reason]))

    def test_the_table_has_each_directory_and_the_totals(self) -> None:
        measured = {"app/cli/A.cpp": Source({1: 1, 2: 0}, {Place(1, 1, 1, 2): (1, 0)}),
                    "util/log/B.cpp": Source({1: 1}), "util/log/B.h": Source({1: 1, 2: 1})}

        self.assertEqual(["| app/cli | 1 | 2 | 50.0 % | 1 | 2 | 50.0 % |",
                          "| util/log | 3 | 3 | 100.0 % | 0 | 0 | - |",
                          "| all of app/ | 1 | 2 | 50.0 % | 1 | 2 | 50.0 % |",
                          "| all of util/ | 3 | 3 | 100.0 % | 0 | 0 | - |",
                          "| everything | 4 | 5 | 80.0 % | 1 | 2 | 50.0 % |"],
                         list(coverage.table(measured))[2:])


if __name__ == "__main__":
    unittest.main()

"""What runs of the product's lines and branches, and which of the rest has a reason."""

from __future__ import annotations

import os
from collections import defaultdict
from collections.abc import Callable, Iterable, Iterator
from dataclasses import dataclass, field
from typing import Any, NamedTuple

# Every line of these that no test runs has a reason.
EXPLAINED = ("app/", "util/")


class Segment(NamedTuple):
    """From here on everything ran so often, until the next segment."""
    line: int
    column: int
    count: int
    has_count: bool
    is_entry: bool
    is_gap: bool

    def begins_region(self) -> bool:
        return self.has_count and self.is_entry and not self.is_gap


class Place(NamedTuple):
    """Where a condition is. The line of its end may be another."""
    line: int
    column: int
    end_line: int
    end_column: int


@dataclass
class Source:
    """How often each line with code ran, and each condition was true and false."""
    lines: dict[int, int] = field(default_factory=dict)
    branches: dict[Place, tuple[int, int]] = field(default_factory=dict)

    def covered_lines(self) -> int:
        return sum(count > 0 for count in self.lines.values())

    def covered_branches(self) -> int:
        return sum(count > 0 for counts in self.branches.values() for count in counts)


class Finding(NamedTuple):
    """What no test runs: lines, or a way that a condition never goes."""
    source: str
    first: int
    last: int
    text: str  # of the first line, or of the one before it that says more
    never: str  # which condition is never true or false; empty for lines

    def key(self) -> tuple[str, str, str]:
        return self.source, self.text, self.never

    def __str__(self) -> str:
        where = f"{self.first}" if self.first == self.last else f"{self.first}-{self.last}"
        what = f"{self.never}: " if self.never else ""
        return f"{self.source}:{where}: {what}{self.text}"


def line_counts(segments: list[Segment]) -> dict[int, int]:
    """How often each line ran: as often as that part of it that ran most."""
    by_line: dict[int, list[Segment]] = defaultdict(list)
    for segment in segments:
        by_line[segment.line].append(segment)
    counts: dict[int, int] = {}
    wrapped: Segment | None = None
    for line in range(min(by_line, default=1), max(by_line, default=0) + 1):
        own = by_line.get(line, [])
        begun = [segment.count for segment in own if segment.begins_region()]
        # What follows a block that returns goes on behind a gap in which nothing runs.
        if wrapped is not None and wrapped.is_gap and own and own[0].has_count and not own[0].is_gap:
            begun.append(own[0].count)
        is_skipped = bool(own) and own[0].is_entry and not own[0].has_count
        is_inside = wrapped is not None and wrapped.has_count
        if not is_skipped and (is_inside or begun):
            counts[line] = max([*begun, wrapped.count if wrapped and is_inside else 0])
        wrapped = own[-1] if own else wrapped
    return counts


def count_at(segments: list[Segment], place: Place) -> int:
    """How often the region that has a place ran."""
    before = [segment for segment in segments
              if (segment.line, segment.column) <= (place.line, place.column)]
    return before[-1].count if before else 0


def branch_counts(branches: Iterable[list[int]], segments: list[Segment],
                  text: list[str]) -> dict[Place, tuple[int, int]]:
    """How often each condition was true and false, in all instances of a template together.
    Conditions that the compiler knows the result of are left out, and that a switch has no case: the
    compiler refuses one without all cases."""
    counts: dict[Place, tuple[int, int]] = {}
    for branch in branches:
        place = Place(*branch[:4])
        was_true, was_false = counts.get(place, (0, 0))
        counts[place] = was_true + branch[4], was_false + branch[5]
    return {place: both for place, both in counts.items()
            if (any(both) or count_at(segments, place) == 0)
            and not text[place.line - 1][:place.column - 1].endswith("switch (")}


def sources(exported: dict[str, Any], tree: str,
            text_of: Callable[[str], list[str]]) -> dict[str, Source]:
    """The product's sources in what "llvm-cov export" prints, by their paths in the tree."""
    found = {}
    for file in exported["data"][0]["files"]:
        name = os.path.relpath(file["filename"], tree)
        if name.startswith(("app/", "util/", "platform/")):
            segments = [Segment(*segment) for segment in file["segments"]]
            found[name] = Source(line_counts(segments),
                                 branch_counts(file["branches"], segments, text_of(name)))
    return found


def runs(numbers: Iterable[int], lines: Iterable[int]) -> Iterator[tuple[int, int]]:
    """The first and the last of all numbers that follow one another among the lines."""
    wanted = set(numbers)
    run: list[int] = []
    for line in [*sorted(lines), None]:
        if line is not None and line in wanted:
            run.append(line)
        elif run:
            yield run[0], run[-1]
            run = []


def findings(name: str, source: Source, text: list[str]) -> Iterator[Finding]:
    """What of a source no test runs. Of a condition that is never reached nothing is told: what
    leads there is told."""
    uncovered = {line for line, count in source.lines.items() if count == 0}
    for first, last in runs(uncovered, source.lines):
        yield Finding(name, first, last, telling(text, first), "")
    for place, (was_true, was_false) in sorted(source.branches.items()):
        if (was_true == 0) != (was_false == 0):
            yield Finding(name, place.line, place.line, text[place.line - 1].strip(),
                          f"{condition(text, place)} is never {'false' if was_true else 'true'}")


def telling(text: list[str], line: int) -> str:
    """A line; where it is only the end of a block, the last one with code before it."""
    code = text[line - 1].strip()
    while line > 1 and (code in ("", "}") or code.startswith("//")):
        line -= 1
        code = text[line - 1].strip()
    return code


def condition(text: list[str], place: Place) -> str:
    lines = text[place.line - 1:place.end_line]
    lines[-1] = lines[-1][:place.end_column - 1]
    lines[0] = lines[0][place.column - 1:]
    return " ".join(line.strip() for line in lines)


def judge(found: Iterable[Finding],
          accepted: list[dict[str, str]]) -> tuple[list[Finding], list[dict[str, str]]]:
    """What has no reason, and the reasons that nothing needs."""
    by_key = {(one["source"], one["text"], one.get("never", "")): one for one in accepted}
    without, used = [], set()
    for finding in found:
        if finding.key() in by_key:
            used.add(finding.key())
        else:
            without.append(finding)
    return without, [one for key, one in by_key.items() if key not in used]


def percent(covered: int, total: int) -> str:
    return f"{100 * covered / total:.1f} %" if total else "-"


def table(measured: dict[str, Source]) -> Iterator[str]:
    """The lines and branches of each directory and of them all, as a table in Markdown."""
    groups: dict[str, list[Source]] = defaultdict(list)
    for name, source in sorted(measured.items()):
        groups[os.path.dirname(name)].append(source)
    for total in EXPLAINED:
        groups[f"all of {total}"] = [source for name, source in measured.items()
                                     if name.startswith(total)]
    groups["everything"] = list(measured.values())
    yield "| directory | lines | of | | branches | of | |"
    yield "| --- | ---: | ---: | ---: | ---: | ---: | ---: |"
    for group, of_group in groups.items():
        lines, all_lines, branches, all_branches = (sum(column) for column in zip(*(
            (source.covered_lines(), len(source.lines),
             source.covered_branches(), 2 * len(source.branches)) for source in of_group)))
        yield (f"| {group} | {lines:,} | {all_lines:,} | {percent(lines, all_lines)} "
               f"| {branches:,} | {all_branches:,} | {percent(branches, all_branches)} |")

#!/usr/bin/env python3
"""Lists small faults that could stand in the library's sources, a line each: FILE<tab>LINE<tab>OLD TEXT<tab>NEW TEXT.

A fault changes one operator, one number or one call of one line; comments, strings, traces, fatal checks and hints to the
cache are left alone. The order follows from the seed alone.

Usage: scripts/mutants.py SEED FILE...
"""

import random
import re
import sys

# Each operator and what may stand in its place. Templates, includes and shifts into streams look like operators, so the
# patterns demand the spaces that the sources have around operators.
REPLACEMENTS = [
    (r" == ", [" != "]),
    (r" != ", [" == "]),
    (r" < ", [" <= ", " > "]),
    (r" > ", [" >= ", " < "]),
    (r" <= ", [" < "]),
    (r" >= ", [" > "]),
    (r" && ", [" || "]),
    (r" \|\| ", [" && "]),
    (r" \+ ", [" - "]),
    (r" - ", [" + "]),
    (r" \* (?=\w)", [" + "]),
    (r" & (?=\w)", [" | "]),
    (r" \| ", [" & "]),
    (r" \+= ", [" -= "]),
    (r" -= ", [" += "]),
    (r"\bif \( (?!auto|!)(?=[^&|<>=]*$)", ["if ( !"]),
    (r"\bif \( !", ["if ( "]),
    (r"\breturn true;", ["return false;"]),
    (r"\breturn false;", ["return true;"]),
    (r"\bstd::min\b", ["std::max"]),
    (r"\bstd::max\b", ["std::min"]),
    (r"\bcontinue;", ["break;"]),
    (r"\bbreak;", [";"]),
    (r"(?<![\w.'])0(?![\w.'])", ["1"]),
    (r"(?<![\w.'])1(?![\w.'])", ["0", "2"]),
]
# A statement that is a call or an assignment, all on its line.
STATEMENT = re.compile(r"^\s+[\w.>\-\[\] ()*]+(\(.*\)| \S?= .*);$")
LEFT_ALONE = re.compile(
    r"^\s*(//|#|template|using|namespace|static_assert|return;|case |default:|friend |throw |KIV_|explicit )"
    r"|traceHandle|tracePrefix_|fatal|Kiv::check|constexpr|operator|TraceHelper|dump|reserve\(|prefetch|kAhead|->trace\("
)


def mutations(path):
    with open(path, encoding="utf-8") as source:
        lines = source.read().split("\n")
    inside_dump = False
    for number, line in enumerate(lines, 1):
        # Dumps are traces too, functions of their own.
        if re.match(r"^[^\s}].*\b\w*::dump\w*\(|^void dump\w*\(", line):
            inside_dump = True
        if line == "}":
            inside_dump = False
        if inside_dump or not line.strip() or LEFT_ALONE.search(line):
            continue
        code = re.sub(r'"(\\.|[^"\\])*"', lambda text: '"' + "_" * (len(text[0]) - 2) + '"', line.split("//")[0])
        for pattern, others in REPLACEMENTS:
            for found in re.finditer(pattern, code):
                for other in others:
                    yield path, number, line, line[: found.start()] + other + line[found.end() :]
        if STATEMENT.match(code) and "return" not in code and not re.match(r"^\s*(auto|\w+ const|[\w:<>]+ \w+) ", code):
            yield path, number, line, re.match(r"^\s*", line)[0] + ";"


def main():
    seed, *files = sys.argv[1:]
    found = [mutation for path in sorted(files) for mutation in mutations(path)]
    random.Random(int(seed)).shuffle(found)
    for path, number, old, new in found:
        print(f"{path}\t{number}\t{old}\t{new}")


main()

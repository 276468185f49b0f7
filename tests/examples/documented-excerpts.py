#!/usr/bin/env python3
"""documented-excerpts.py DOCUMENT SOURCE...: fails unless every ```cpp block of the document stands, line for line, in
one of the sources."""
import pathlib
import re
import sys

document, *sources = map(pathlib.Path, sys.argv[1:])
texts = [source.read_text(encoding="utf-8") for source in sources]
excerpts = re.findall(r"^```cpp\n(.*?)^```$", document.read_text(encoding="utf-8"), re.MULTILINE | re.DOTALL)
stale = [excerpt for excerpt in excerpts if not any("\n" + excerpt in text for text in texts)]
for excerpt in stale:
    print(f"{document} shows what no source has:\n{excerpt}")
sys.exit(1 if stale or not excerpts else 0)

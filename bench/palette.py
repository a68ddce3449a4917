"""The palette over 20,000 entries, a key at a time, beside `fzf --filter` on the same list."""

import random
import resource
import shutil
import subprocess
import sys

ENTRIES = 20_000
LIMIT = 8  # milliseconds of processor time a key
QUERIES = ("reader", "fix the parser", "zq", "naïve café", "mtlr")
WORDS = ("fix", "the", "parser", "reader", "of", "lines", "test", "build", "café", "naïve", "merge", "branch", "window",
         "login", "shell", "token", "usage", "store", "schema", "index", "palette", "history", "retry", "stream", "zone")


def write_list(path):
    chance = random.Random(7)
    titles = [" ".join(chance.choices(WORDS, k=chance.randint(3, 9))).capitalize() + f" {number}"
              for number in range(ENTRIES)]
    path.write_text("".join(title + "\n" for title in titles))


def processor_time_of_children():
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    return used.ru_utime + used.ru_stime


def fzf(list_file, query):
    """Seconds of processor time of the whole program, and how many lines it found with the characters in that order."""
    before = processor_time_of_children()
    with list_file.open() as lines:
        found = subprocess.run(["fzf", "--filter", query.replace(" ", r"\ "), "--no-sort", "--literal", "-i"], stdin=lines,
                               stdout=subprocess.PIPE, check=False).stdout.count(b"\n")
    return processor_time_of_children() - before, found


def palette(bench):
    bench.say(f"palette: a key of a query over {ENTRIES:,} conversations, in processor time of the interface thread; and "
              "`fzf --filter`\n  of the whole query on the same list, its start and its reading of the list included.")
    titles = bench.folder / "titles"
    write_list(titles)
    folder = bench.folder / "palette"
    folder.mkdir()
    keys = [(text, float(seconds), int(found))
            for text, seconds, found in bench.program("palette_keys", folder, titles, bench.rounds, *QUERIES)]
    slowest = max(keys, key=lambda key: key[1])
    by_text = {text: (seconds, found) for text, seconds, found in keys}
    for query in QUERIES:
        seconds, found = by_text[query]
        whole = sum(taken for text, taken, _ in keys if query.startswith(text))
        words = f"  {query!r}: last key {seconds * 1e3:.2f} ms, all keys {whole * 1e3:.2f} ms, {found:,} found"
        if shutil.which("fzf"):
            theirs = min(fzf(titles, query) for _ in range(bench.rounds))
            words += f"; fzf {theirs[0] * 1e3:.2f} ms"
            if theirs[1] != found:
                sys.exit(f"{query!r}: fzf finds {theirs[1]:,}, the palette {found:,}")
            bench.reported(f"palette: all keys of {query!r} / fzf once", whole / max(theirs[0], 1e-4))
        bench.say(words)
    if not shutil.which("fzf"):
        bench.say("  fzf is not installed (Debian package fzf): nothing beside it")
    bench.row(f"palette: slowest key (to {slowest[0]!r}, {slowest[2]:,} found)", slowest[1] * 1e3, LIMIT, " ms")

"""The window over a large store, without a display and drawn in software, as it is on a machine without a graphics card."""

import shutil
import subprocess
import sys
import time

CONVERSATIONS, LONG = 2_000, 100_000
GOALS = (("first frame after main", 300, " ms"), ("memory of the window", 80, " MiB"),
         ("opening, processor", 50, " ms"), ("opening, memory", 40, " MiB"),
         ("jump, processor, mean", 50, " ms"), ("jump, processor, worst", None, " ms"),
         ("page while scrolling, median", 16, " ms"), ("page while scrolling, p95", None, " ms"),
         ("1,000 growths a second, longest stall", 33, " ms"),
         ("1,000 growths a second, processor of one second", None, " ms"),
         ("1,000 growths a second, the reader's place moved by", 0, " px"),
         ("still window, processor in 10 s", 10, " ms"), ("still window, frames in 10 s", 0, ""))


def window(bench, make_store):
    bench.say(f"window: over {CONVERSATIONS:,} conversations and one of {LONG:,} items; without a display, drawn in "
              "software. A page is 600\n  pixels that were never shown, one after the other; what a window that rests "
              "may use is the timers of its libraries.")
    store = bench.folder / "shown"
    make_store(bench, store, CONVERSATIONS, 2)
    [conversation] = make_store(bench, store, 1, LONG)
    found, starts = {}, []
    # Until the words of a store can be searched, a first start collects them.
    for number in range(1 + max(2, bench.rounds // 2)):
        (store / "reading-places.json").unlink(missing_ok=True)
        started = time.monotonic()
        with subprocess.Popen([bench.build / "bench" / "show_window", store, conversation], text=True,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE) as shown:
            first = shown.stdout.readline()
            starts.append((time.monotonic() - started) * 1e3)
            printed, said = shown.communicate()
        if shown.returncode != 0 or said:
            sys.exit(f"show_window ended with {shown.returncode} and said: {said}")
        if number == 0:
            starts.clear()
            continue
        for line in (first + printed).splitlines():
            name, figure = line.split("\t")
            found.setdefault(name, []).append(abs(float(figure)))
    bench.row("window: from the start of the process to the first frame", min(starts), 300, " ms")
    for name, limit, unit in GOALS:
        # What must never happen counts as often as it happens; of times the shortest counts.
        figure = max(found[name]) if limit == 0 else min(found[name])
        if limit is None:
            bench.reported(f"window: {name}", figure, unit)
        else:
            bench.row(f"window: {name}", figure, limit, unit)


def flood(bench, make_store, agent, prompt):
    """`agent` prints a hundred thousand events as fast as it can."""
    bench.say("flood: an agent prints 100,000 events as fast as it can into a conversation that the window shows, while "
              "keys are\n  typed; and the same run of the same program without a window.")
    template = bench.folder / "flooded"
    [conversation] = make_store(bench, template, 1, 0)
    found = {}
    for _ in range(max(2, bench.rounds // 2)):
        for side in ("window", "none"):
            folder = bench.folder / "flooded-copy"
            shutil.copytree(template, folder)
            figures = bench.named_times("flood_window", folder, conversation, agent, prompt, side)
            shutil.rmtree(folder)
            for name, figure in figures.items():
                found[side, name] = min(found.get((side, name), float("inf")), figure)
    bench.say(f"  {found['window', 'run'] / 1e3:.2f} s with a window, {found['none', 'run'] / 1e3:.2f} s without; processor "
              f"{found['window', 'processor'] / 1e3:.2f} s and {found['none', 'processor'] / 1e3:.2f} s; "
              f"{found['window', 'keys']:.0f} keys")
    bench.row("flood: run with a window / without", found["window", "run"] / found["none", "run"], 1.3)
    bench.reported("flood: processor with a window / without",
                   found["window", "processor"] / found["none", "processor"])
    bench.row("flood: slowest key", found["window", "slowest key"], 100, " ms")

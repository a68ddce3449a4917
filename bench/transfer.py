"""Export, import and show of a whole conversation, as bench/run measures them."""

import os
import re
import resource
import shutil
import subprocess
import sys

ITEMS = 100_000


def measured(bench, command, stdin=None):
    """Seconds of processor and MiB of the run that took least of it; both programs wait for the same disk."""
    best = None
    for _ in range(max(2, bench.rounds // 2)):
        with open(os.devnull, "wb") as nowhere, open(stdin or os.devnull, "rb") as source:
            child = subprocess.Popen([str(word) for word in command], stdin=source, stdout=nowhere)
            _, status, usage = os.wait4(child.pid, 0)
            child.returncode = os.waitstatus_to_exitcode(status)
        if child.returncode:
            sys.exit(f"{command[0]} failed")
        run = usage.ru_utime + usage.ru_stime, usage.ru_maxrss / 1024
        best = run if best is None else (min(best[0], run[0]), max(best[1], run[1]))
    return best


def transfer(bench, make_store):
    bench.say(f"transfer: a conversation of {ITEMS:,} items is exported, shown and imported, in processor time. Bare: "
              "the sqlite3 shell\n  writes the same tables as JSON, and reads a dump of them into an empty store.")
    folder = bench.folder / "transfer"
    [conversation] = make_store(bench, folder, 1, ITEMS)
    ravant = bench.build / "cli" / "ravant"
    store = folder / "store.sqlite"
    tables = ("conversation_item", "message_block", "tool_invocation")
    queries = "".join(f"SELECT * FROM {table};\n" for table in tables)
    shell, _ = measured(bench, ["sqlite3", "-json", store, queries])
    command = [ravant, "--data-dir", folder, "conversation"]
    for name in ("markdown", "json", "html"):
        seconds, memory = measured(bench, [*command, "export", conversation, "--format", name])
        bench.reported(f"transfer: export {name} / sqlite3 -json", seconds / shell)
        bench.row(f"transfer: memory of export {name}", memory, 60, " MiB")
    for name, options in (("text", []), ("JSON", ["--json", "--raw"])):
        seconds, memory = measured(bench, [*command, "show", conversation, *options])
        bench.reported(f"transfer: show as {name} / sqlite3 -json", seconds / shell)
        bench.row(f"transfer: memory of show as {name}", memory, 60, " MiB")

    exported = bench.folder / "exported.json"
    subprocess.run([*command, "export", conversation, "--format", "json", "--output", exported], check=True,
                   stdout=subprocess.DEVNULL)
    dump = bench.folder / "dump.sql"
    with dump.open("wb") as out:
        subprocess.run(["sqlite3", store, ".dump project agent conversation conversation_item message_block "
                        "tool_invocation"], stdout=out, check=True)
    text = re.sub(r"(?m)^CREATE (TABLE|INDEX|UNIQUE INDEX)(?: IF NOT EXISTS)?", r"CREATE \1 IF NOT EXISTS",
                  dump.read_text())
    dump.write_text(text)
    best = {}
    for _ in range(max(2, bench.rounds // 2)):
        for side in ("ours", "bare"):
            into = bench.folder / f"into-{side}"
            shutil.rmtree(into, ignore_errors=True)
            into.mkdir()
            words = ([ravant, "--data-dir", into, "conversation", "import", exported] if side == "ours" else
                     ["sqlite3", into / "store.sqlite", f".read {dump}"])
            before = resource.getrusage(resource.RUSAGE_CHILDREN)
            subprocess.run(words, check=True, stdout=subprocess.DEVNULL)
            after = resource.getrusage(resource.RUSAGE_CHILDREN)
            seconds = after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime
            best[side] = min(best.get(side, float("inf")), seconds)
    again = subprocess.run([ravant, "--data-dir", bench.folder / "into-ours", "conversation", "export", conversation,
                            "--format", "json"], stdout=subprocess.PIPE, check=True).stdout
    if again != exported.read_bytes():
        sys.exit("what was imported is exported otherwise")
    size = exported.stat().st_size
    bench.say(f"  {size / 1e6:.0f} MB of JSON imported in {best['ours']:.2f} s of processor time, "
              f"{size / 1e6 / best['ours']:.0f} MB/s; the dump in {best['bare']:.2f} s")
    bench.reported("transfer: import / sqlite3 .read", best["ours"] / best["bare"])
    bench.row_at_least("transfer: MB of a file imported in a second", size / 1e6 / best["ours"], 50, "")

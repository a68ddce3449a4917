"""The speed goals of searching, measured by the program `search_store`; see bench/run."""

import os

ITEMS = int(os.environ.get("RAVANT_BENCH_SEARCH_ITEMS", "1000000"))
APPENDED = 20_000


def search(bench):
    bench.say(f"search: {ITEMS:,} items of about 3 KB in the file (RAVANT_BENCH_SEARCH_ITEMS for another number), and "
              "200 searches.\n  Appending: a transaction for each message, without the index and while it is kept "
              "current.")
    folder = bench.folder / "searched"
    folder.mkdir()
    found = {key: float(value) for key, value in bench.program("search_store", folder, ITEMS, limit=3600)}
    bench.say(f"  {found['texts'] / 1e6:,.0f} MB of texts in {found['store'] / 1e6:,.0f} MB, index "
              f"{found['index'] / 1e6:,.0f} MB, filled with {found['indexedProcessor']:.0f} s of processor time")
    for name in ("rare", "common", "frequent", "beginning", "phrase", "ideographs", "narrowed", "timed",
                 "narrowedBeginning", "symbols"):
        bench.say(f"  {name}: p50 {found[f'{name}P50']:.1f} ms, p95 {found[f'{name}P95']:.1f} ms, "
                  f"{found[f'{name}Hits']:.0f} hits")
    bench.row("search: p95 of all searches", found["allP95"], 50, " ms")
    bench.reported("search: index / texts", found["index"] / found["texts"])
    appended = bench.named_times("search_store", bench.folder / "appended", "append", APPENDED)
    bench.row("search: appending with the index kept current / without", appended["with"] / appended["without"], 1.3)
    bench.reported("search: the same in processor time, until all is indexed",
                   appended["processorWith"] / appended["processorWithout"])
    bench.row("search: to index what the last append left to be indexed", appended["behind"], 1, " s")

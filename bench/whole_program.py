"""The program from outside, as whoever types a command waits for it: each command beside what it is compared with, in
turn, started anew each time. Part of bench/run, which hands in what it shares with the other measurements."""

import json
import subprocess
import sys

STATUS_BY_GIT = "git status --porcelain=v2 --branch && git diff --numstat && git diff --cached --numstat"


def starts(bench, program_runs, agent, list_query):
    """`agent` is a program that says at once that it has finished."""
    bench.say("starts: on an empty store, `ravant --version` beside `git --version`, `ravant conversation list` beside the "
              "sqlite3\n  shell with the same query, and `ravant run` with an agent that ends at once beside `bash -lic` "
              "with the same agent.")
    folder, project = bench.folder / "start", bench.folder / "start-project"
    project.mkdir()
    ravant = [bench.build / "cli" / "ravant", "--data-dir", folder]
    for command in (["agent", "add", "--path", agent, "claude"], ["project", "add", project]):
        subprocess.run([*ravant, *command], stdout=subprocess.DEVNULL, check=True)
    (version, _), (git, _) = program_runs(bench, [*ravant, "--version"], ["git", "--version"])
    (listed, _), (shell, _) = program_runs(bench, [*ravant, "conversation", "list"],
                                           ["sqlite3", folder / "store.sqlite", list_query])
    prompt = [*ravant, "run", "--project", project.name, "--agent", "claude", "hello"]
    if b"finished" not in subprocess.run([*prompt, "--json"], stdout=subprocess.PIPE, check=True).stdout:
        sys.exit("the agent did not run")
    (run, _), (bash, _) = program_runs(bench, prompt, ["bash", "-lic", agent], stderr=subprocess.DEVNULL)
    bench.say(f"  version {version * 1e3:.2f} ms, git {git * 1e3:.2f} ms; list {listed * 1e3:.2f} ms, sqlite3 "
              f"{shell * 1e3:.2f} ms; run {run * 1e3:.1f} ms, bash {bash * 1e3:.1f} ms")
    bench.row("starts: ravant --version / git --version", version / git, 3)
    bench.row("starts: ravant conversation list / sqlite3", listed / shell, 3)
    bench.row("starts: ravant run, beyond bash -lic", (run - bash) * 1e3, 25, " ms")


def git_commands(bench, program_runs, changed_repository):
    bench.say("git: `ravant git status` and `ravant git stat` of a repository with 50,000 files, 2,000 of them changed, and "
              "the git\n  commands that tell the same.")
    repository = changed_repository(bench.folder / "whole-repository")
    ravant = [bench.build / "cli" / "ravant", "--data-dir", bench.folder / "git"]
    subprocess.run([*ravant, "project", "add", repository], stdout=subprocess.DEVNULL, check=True)
    ours = {name: [*ravant, "git", name, "--project", repository.name] for name in ("status", "stat")}
    expect_the_same(ours, repository)
    in_repository = ["git", "-C", repository]
    (status, _), (whole, _), (plain, _) = program_runs(
        bench, ours["status"], ["sh", "-c", f"cd '{repository}' && {STATUS_BY_GIT}"],
        [*in_repository, "status", "--porcelain=v2", "--branch"])
    (stat, _), (shortstat, _) = program_runs(bench, ours["stat"], [*in_repository, "diff", "HEAD", "--shortstat"])
    bench.say(f"  status {status * 1e3:.0f} ms, git status and twice diff --numstat {whole * 1e3:.0f} ms, git status "
              f"{plain * 1e3:.0f} ms; stat {stat * 1e3:.0f} ms, git {shortstat * 1e3:.0f} ms")
    bench.row("git: ravant git status / git status and twice diff --numstat", status / whole, 1)
    bench.reported("git: ravant git status / git status", status / plain)
    bench.row("git: ravant git stat / git diff HEAD --shortstat", stat / shortstat, 1)


def expect_the_same(commands, repository):
    """Ends the program where ours and git tell of other files or count other lines."""
    def told(name):
        return json.loads(subprocess.run([*commands[name], "--json"], stdout=subprocess.PIPE, check=True).stdout)

    def counted(*words):
        lines = subprocess.run(["git", "-C", repository, "diff", "--numstat", *words], stdout=subprocess.PIPE, text=True,
                               check=True).stdout.splitlines()
        return sorted((path, int(added), int(deleted)) for added, deleted, path in (line.split("\t") for line in lines))

    status, stat = told("status"), told("stat")
    sides = {side: sorted((change["path"], change["insertions"], change["deletions"]) for change in status[side]
                          if change["status"] != "untracked") for side in ("staged", "unstaged")}
    untracked = sorted(change["path"] for change in status["unstaged"] if change["status"] == "untracked")
    others = subprocess.run(["git", "-C", repository, "ls-files", "--others", "--exclude-standard"],
                            stdout=subprocess.PIPE, text=True, check=True).stdout.splitlines()
    if (sides["staged"], sides["unstaged"], untracked) != (counted("--cached"), counted(), sorted(others)):
        sys.exit("ravant git status tells other changes than git")
    whole = counted("HEAD")
    if (stat["insertions"], stat["deletions"]) != (sum(row[1] for row in whole), sum(row[2] for row in whole)):
        sys.exit(f"ravant git stat tells {stat}, git {len(whole)} files")

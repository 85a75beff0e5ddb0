#!/bin/bash
# Holds documents and program together: makes the runs of docs/log.md and compares their logs with its templates,
# compares the codes of qvpost(8) with those in post/, has mandoc look at the manual pages where there is mandoc, and
# runs the programs that the documents show.
#
#   scripts/check-docs.sh QVPOST     everything, with this qvpost
#   scripts/check-docs.sh --pages    the codes and the manual pages alone
set -euo pipefail
cd "$(dirname "$0")/.."
! command -v mandoc >/dev/null || (cd man && mandoc -T lint ./* 2>/dev/null)
codes() { grep -ohE "$1" "${@:2}" | grep -oE "[A-Z]{2}" | LC_ALL=C sort -u; }
diff <(codes '"[A-Z]{2}"|\[.[A-Z]{2}.\]' post/*.cpp) <(codes '^\.It Sy [A-Z]{2} ' man/qvpost.8)
[ "${1:?}" != --pages ] || exit 0
python3 - "$(realpath "$1")" <<'PYTHON'
import os, re, shutil, subprocess, sys, tempfile, threading
work = tempfile.mkdtemp()
child, script, tool, update_list = (f"{work}/{name}" for name in ("child", "scripts/setup/qvserver", "tool", "list"))
good = f"source={work}/new,destination={tool}\n"
usual = ["-s", child, "-c", child, "-f", update_list]
# A run is named as its block: when which child ends with 3 (a pattern of its arguments), the list, the options.
runs = {"success": {}, "leftover": {}, "taken": {}, "kept": {}, "signal": {}, "BL": {"bad": "--update*"},
        "AC": {"bad": "--shutdown"}, "AL": {"bad": "--startup"}, "AO": {"bad": "*progress*"}, "list": {"lines": None},
        "outcome": {"bad": "--shutdown|*error*"}, "AD": {"lines": "source=/a=b\n"}, "AE": {"lines": "Source=/a\n"},
        "AF": {"lines": "source=/a\n"}, "AG": {"lines": good + good.replace("tool", "none")},
        "AH": {"lines": good.replace("new", "none")}, "option": {"options": ["-c", "a,b"]},
        "pid": {"options": ["-p", "soon"]}, "unknown": {"options": ["-x"]}, "argument": {"options": ["-f"]}}
def log_of(name, bad="none", lines=good, options=usual):
    shutil.rmtree(work)
    os.makedirs(os.path.dirname(script))
    program = f'#!/bin/sh\ncase "$*" in {bad}) exit 3;; esac\n[ "$2" != progress ] || cat <&$4\n'
    leftover = f"{tool}.temporary" if name == "leftover" else f"{work}/other"
    for path, text in {child: program, script: program, tool: "", f"{work}/new": "", leftover: "", update_list: lines}.items():
        if text is not None: open(path, "w", opener=lambda *how: os.open(*how, 0o755)).write(text)
    if name == "kept": os.remove(tool), os.mkdir(tool)
    if name == "taken": os.mkdir(tool + ".temporary")
    updater = subprocess.Popen(["sleep", "1"])
    options = (["-p", str(updater.pid)] if name in ("success", "signal") else []) + options
    if name == "success": options += ["-v", "1", "-r", "-i"]
    run = subprocess.Popen([sys.argv[1]] + options, stderr=subprocess.PIPE, stdout=subprocess.DEVNULL, text=True,
                           env={**os.environ, "QV_SYSTEM": work})
    if name == "signal": threading.Timer(0.5, run.terminate).start()
    threading.Thread(target=updater.wait).start()
    return run.communicate()[1]
def streams(text):  # what each thread wrote, and the lines without a thread; a line that is repeated once
    lines = re.sub(r"\n'\.$", " '.", text, flags=re.M).splitlines()
    kinds = {"main": r"<main> .*", "client": r"<client> .*", "level": r"(?!<main>|<client>).*"}
    found = {kind: [line for line in lines if re.fullmatch(form, line)] for kind, form in kinds.items()}
    return {kind: [x for x, before in zip(own, [None] + own) if x != before] for kind, own in found.items()}
blocks = dict(re.findall(r"```log (\w+)\n(.*?)```", open("docs/log.md").read(), re.S))
assert set(blocks) == set(runs), f"docs/log.md: runs and blocks differ: {set(blocks) ^ set(runs)}"
for name, how in runs.items():
    log = log_of(name, **how)
    got = streams(re.sub(r"(?m)^(\d+) (\d+) \d\d:\d\d:\d\d \d{3}\.\d{3} ",
                         lambda ids: "<main> " if ids[1] == ids[2] else "<client> ", log))
    for kind, lines in streams(re.sub(r"(?m)^    .*\n", "", blocks[name])).items():
        fit = "".join("\n" + re.sub(r"<(?!main>|client>)[^>]*>", ".*", re.escape(line)) for line in lines) + "\n"
        if lines and not (re.fullmatch if name == "success" else re.search)(fit, "\n" + "\n".join(got[kind]) + "\n"):
            sys.exit(f"docs/log.md: the run '{name}' writes other lines ({kind}):\n{log}")
shutil.rmtree(work)
print(f"docs/log.md: {len(runs)} runs write what it says")
PYTHON
scripts/check-examples.py "$1"

#!/usr/bin/python3
"""Converts a file of records to CSV in parts, on the workers of a Dask scheduler.

Every part is a run of recordcsv on a range of records. All workers have to see recordcsv, layout, records and output directory
under the same paths. `cat OUTDIR/part-*.csv` is what a single run writes. A part with an entry (part-*.json) is finished and is
not converted again; manifest.json appears when all are. Exit status: 0; 1 where rows were set aside (part-*.rejects); 2 where
nothing was begun; 3 where a part failed or the scheduler went away; 130 when interrupted.
"""
import argparse
import fcntl
import hashlib
import json
import os
import shutil
import subprocess
import sys
import tempfile
import time
from concurrent.futures import CancelledError
from dataclasses import dataclass
from pathlib import Path
from typing import Any

from distributed import Client, as_completed

Entry = dict[str, Any]  # what is known of a finished part


@dataclass(frozen=True)
class Job:
    recordcsv: str
    layout: str
    records: str
    outdir: Path
    rows_per_part: int
    rows: int
    parts: int
    rejects: bool

    def name(self, part: int) -> str:
        return f"part-{part:0{len(str(self.parts - 1))}d}"


def checksum(path: str | Path) -> str:
    with open(path, "rb") as file:
        return hashlib.file_digest(file, "sha256").hexdigest()


def convert_part(part: int, job: Job, running: str) -> Entry:
    """Runs on a worker, which may die at any time, and perhaps on two at once: files get their names when they are whole, and
    the entry, which says that the part is finished, comes last."""
    name = job.name(part)
    try:
        with tempfile.TemporaryDirectory(dir=running) as scratch:
            csv, rejects, entry_file = (Path(scratch, name + suffix) for suffix in (".csv", ".rejects", ".json"))
            command = [job.recordcsv, "to-csv", job.layout, job.records, str(csv), "--summary"]
            command += ["--skip", str(part * job.rows_per_part), "--count", str(job.rows_per_part)]
            command += ["--no-header"] * (part > 0) + ["--rejects", str(rejects)] * job.rejects
            run = subprocess.run(command, stderr=subprocess.PIPE, text=True, errors="replace")
            if run.returncode not in (0, 1):
                said = "; ".join(line for line in run.stderr.splitlines() if not line.startswith("{"))
                raise RuntimeError(f"recordcsv ended with {run.returncode}: {said}")
            summary = json.loads(run.stderr.splitlines()[-1])
            entry = {"file": csv.name, "rows": summary["written"], "bytes": csv.stat().st_size, "sha256": checksum(csv),
                     "rejected": summary["rejected"], "rejected_bytes": rejects.stat().st_size if job.rejects else 0}
            entry_file.write_text(json.dumps(entry))
            if entry["rejected"]:
                os.replace(rejects, job.outdir / rejects.name)
            os.replace(csv, job.outdir / csv.name)
            os.replace(entry_file, job.outdir / entry_file.name)
            return entry
    except (OSError, RuntimeError) as error:
        raise RuntimeError(f"{name}: {error}") from None


def finished(job: Job, part: int) -> Entry | None:
    """The entry of a part that an earlier run has finished and whose files still have their sizes."""
    file = job.outdir / job.name(part)
    try:
        entry: Entry = json.loads(file.with_suffix(".json").read_text())
        whole = file.with_suffix(".csv").stat().st_size == entry["bytes"] and (
            entry["rejected"] == 0 or file.with_suffix(".rejects").stat().st_size == entry["rejected_bytes"])
    except (OSError, ValueError):
        return None
    return entry if whole else None


def run_recordcsv(*arguments: str) -> str:
    run = subprocess.run(arguments, capture_output=True, text=True)
    if run.returncode != 0:
        raise ValueError(run.stderr.strip())
    return run.stdout


def plan_of(job: Job) -> dict[str, Any]:
    """What the content of the parts depends on."""
    records = os.stat(job.records)
    return {"recordcsv": run_recordcsv(job.recordcsv, "--version").strip(), "layout_sha256": checksum(job.layout),
            "records": job.records, "records_bytes": records.st_size, "records_mtime_ns": records.st_mtime_ns,
            "rows_per_part": job.rows_per_part, "rejects": job.rejects}


def place(outdir: Path, name: str, content: dict[str, Any]) -> None:
    with tempfile.TemporaryDirectory(dir=outdir, prefix=".running-") as scratch:
        file = Path(scratch, name)
        file.write_text(json.dumps(content, indent=1) + "\n")
        os.replace(file, outdir / name)


def claim(job: Job, plan: dict[str, Any]) -> None:
    """Makes the directory that of this run and its plan: parts of another plan must not be taken for parts of this one."""
    job.outdir.mkdir(parents=True, exist_ok=True)
    try:
        fcntl.flock(os.open(job.outdir, os.O_RDONLY), fcntl.LOCK_EX | fcntl.LOCK_NB)  # until the process ends
    except BlockingIOError:
        raise ValueError(f"{job.outdir}: another run is converting into it") from None
    kept = job.outdir / "plan.json"
    for left_behind in job.outdir.glob(".running-*"):
        shutil.rmtree(left_behind)
    if not kept.exists() and any(job.outdir.iterdir()):
        raise ValueError(f"{job.outdir}: has files in it, but no plan.json; convert into a directory of its own")
    old = json.loads(kept.read_text()) if kept.exists() else plan
    changes = [f"{key} was {old.get(key)}, is {value}" for key, value in plan.items() if old.get(key) != value]
    if changes:
        raise ValueError(f"{job.outdir}: has parts of another conversion: {'; '.join(changes)}")
    place(job.outdir, kept.name, plan)


def job_of(args: argparse.Namespace) -> Job:
    if (per_part := args.rows_per_part) < 1:
        raise ValueError("--rows-per-part has to be 1 at least")
    if (recordcsv := shutil.which(args.recordcsv)) is None:
        raise ValueError(f"{args.recordcsv}: no such program")
    layout, records = os.path.realpath(args.layout), os.path.realpath(args.records)
    size = int(run_recordcsv(recordcsv, "check", layout).splitlines()[-1].split()[0])
    rows = -(-os.path.getsize(records) // size)  # an incomplete record at the end counts, as it does in a single run
    parts = max(1, -(-rows // per_part))
    return Job(os.path.realpath(recordcsv), layout, records, args.outdir.resolve(), per_part, rows, parts, args.rejects)


def convert(job: Job, client: Client, plan: dict[str, Any]) -> int:
    """Converts the parts that are missing; returns how many rows all parts have set aside."""
    entries = {part: finished(job, part) for part in range(job.parts)}
    missing = [part for part, entry in entries.items() if entry is None]
    done = [entry for entry in entries.values() if entry is not None]
    if missing:
        (job.outdir / "manifest.json").unlink(missing_ok=True)
    on_terminal, rows = sys.stderr.isatty(), 0
    started = shown = time.monotonic()
    with tempfile.TemporaryDirectory(dir=job.outdir, prefix=".running-", ignore_cleanup_errors=True) as running:
        # Dask gives the parts of a worker that dies to another one.
        for future in as_completed(client.map(convert_part, missing, job=job, running=running, pure=False, batch_size=1000)):
            done.append(entry := future.result())
            rows += entry["rows"] + entry["rejected"]
            if len(done) == job.parts or time.monotonic() - shown >= (0.2 if on_terminal else 5):
                shown = time.monotonic()
                print(f"{len(done)} of {job.parts} parts, {rows / (shown - started):.0f} rows/s", file=sys.stderr, flush=True,
                      end="\r" if on_terminal and len(done) < job.parts else "\n")
    totals: dict[str, int] = {key: sum(entry[key] for entry in done) for key in ("rows", "bytes", "rejected")}
    if totals["rows"] + totals["rejected"] != job.rows or plan_of(job) != plan:
        raise RuntimeError(f"{job.records}: has been changed while it was converted")
    done.sort(key=lambda entry: str(entry["file"]))
    place(job.outdir, "manifest.json", plan | totals | {"parts": done})
    print(f"{len(missing)} of {job.parts} parts converted in this run; {totals['rows']} rows, {totals['rejected']} set aside")
    return totals["rejected"]


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--scheduler", required=True, metavar="tcp://HOST:PORT")
    parser.add_argument("--rows-per-part", required=True, type=int, metavar="N")
    parser.add_argument("--recordcsv", default="recordcsv", metavar="PATH")
    parser.add_argument("--rejects", action="store_true", help="set rows that fail aside; else the first one ends the run")
    parser.add_argument("layout", metavar="LAYOUT")
    parser.add_argument("records", metavar="RECORDS")
    parser.add_argument("outdir", metavar="OUTDIR", type=Path)
    args = parser.parse_args()
    failed = 2
    try:
        job = job_of(args)
        claim(job, plan := plan_of(job))
        with Client(args.scheduler, timeout=10) as client:
            client.wait_for_workers(1, timeout=60)
            failed = 3
            return 1 if convert(job, client, plan) else 0
    except KeyboardInterrupt:
        return 130
    except Exception as error:  # Dask's are of many kinds
        why = "the scheduler has gone; the finished parts remain" if isinstance(error, CancelledError) else error
        print(f"convert.py: {why}", file=sys.stderr)
        return failed


if __name__ == "__main__":
    sys.exit(main())

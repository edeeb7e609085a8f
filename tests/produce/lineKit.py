"""The example line in a folder of its own, for tests that drive qvora-produce from outside.

A test program is called with the paths of qvora-produce and of examples/production/prepare. Its functions test_... get
a folder each; `run_tests` calls them all and names those that failed."""
import json
import os
import pathlib
import subprocess
import sys
import tempfile
import time
import traceback

PRODUCE, PREPARE = (os.path.abspath(path) for path in sys.argv[1:3])
PATIENCE = 60  # seconds; a command that needs longer hangs


class Line:
    """Makes the line and its ledger. With fewer than three steps, the signature is left out."""

    def __init__(self, folder, devices=3, steps=2, name="line"):
        self.folder = pathlib.Path(folder) / name
        subprocess.run([PREPARE, self.folder, str(devices)], check=True, stderr=subprocess.DEVNULL)
        self.out = self.folder / "out"
        self.db = self.folder / "line.db"
        self.job = json.loads((self.folder / "job.json").read_text())
        self.job["steps"] = self.job["steps"][:steps]
        if steps < 3:
            del self.job["keys"]["signing"]
        self.write_job()
        self.call(0, "ledger", "init", "--ledger", self.db)

    def write_job(self):
        (self.folder / "job.json").write_text(json.dumps(self.job))

    def write_table(self, *rows, header="serial,secrets"):
        (self.folder / "devices.csv").write_text("\n".join([header, *rows]) + "\n")

    @staticmethod
    def row(number):
        return f"SN{number:06},secrets/x{number:06}.bin"

    def words(self, command, *more):
        """The command line of a command that makes devices."""
        table = ["--devices", self.folder / "devices.csv"] if command == "run" and "--devices" not in more else []
        return [command, self.folder / "job.json", *table, "--ledger", self.db, "-o", self.out, *more]

    @staticmethod
    def call(status, *words, **options):
        """Standard output and standard error of a command, which has to end with `status`."""
        done = subprocess.run([PRODUCE, *map(str, words)], text=True, capture_output=True, check=False, timeout=PATIENCE,
                              **options)
        assert done.returncode == status, f"{words} ended with {done.returncode}:\n{done.stdout}{done.stderr}"
        return done.stdout, done.stderr

    def run(self, status, *more, **options):
        return self.call(status, *self.words("run", *more), **options)

    @staticmethod
    def start(words, **options):
        pipes = {"stdin": subprocess.PIPE, "stdout": subprocess.PIPE, "stderr": subprocess.PIPE}
        return subprocess.Popen([PRODUCE, *map(str, words)], text=True, **{**pipes, **options})

    def status(self):
        return json.loads(self.call(0, "status", "--ledger", self.db, "--json")[0])

    def record(self, kind=None):
        """The lines of the record, of one kind or all."""
        lines = [json.loads(text) for text in (self.out / "record.jsonl").read_text(encoding="utf-8").splitlines()]
        return [line for line in lines if kind in (None, line["kind"])]

    def made(self):
        """The serials that have a folder in the output."""
        return {path.name for path in self.out.glob("SN*")}

    def void(self):
        folder = self.out / "void"
        return {path.name for path in folder.iterdir()} if folder.is_dir() else set()

    def verify(self):
        self.call(0, "record", "verify", self.out / "record.jsonl", "--public", f"{self.db}.station.pem.pub")
        self.call(0, "ledger", "check", "--ledger", self.db)


def wait_for(condition, what):
    end = time.monotonic() + PATIENCE
    while not condition():
        assert time.monotonic() < end, f"waited in vain for {what}"
        time.sleep(0.01)


def run_tests(tests):
    """Calls the functions test_... among `tests`, or those that the command line names after the two programs."""
    failed = 0
    for name, test in list(tests.items()):
        if not name.startswith("test_") or (sys.argv[3:] and name not in sys.argv[3:]):
            continue
        with tempfile.TemporaryDirectory() as folder:
            try:
                test(pathlib.Path(folder))
            except Exception:  # the other tests run nevertheless
                failed += 1
                print(f"{name} failed:\n{traceback.format_exc()}")
    sys.exit(1 if failed else 0)

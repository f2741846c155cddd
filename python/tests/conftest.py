import os
import pathlib
import subprocess

import pytest

ROOT = pathlib.Path(__file__).parents[2]
SAMPLE = ROOT / "tools" / "recordcsv" / "sample"


@pytest.fixture(scope="session")
def recordcsv():
    """Runs the program that the environment variable RECORDCSV names; None without one."""
    program = os.environ.get("RECORDCSV")
    return program and (lambda *arguments: subprocess.run([program, *map(str, arguments)], capture_output=True, text=True))


@pytest.fixture(scope="session")
def header():
    return (ROOT / "include" / "zemt.h").read_text()

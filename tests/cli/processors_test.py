#!/usr/bin/env python3
"""Tests the programs on two processors that QEMU emulates: one without AVX2 and one without SSE4.1."""

import os
import platform
import shutil
import subprocess
import unittest
from pathlib import Path

from aligner_run import PROGRAM, READS, REFERENCE, SOURCE, AlignerTest, Run

INDEX = os.environ.get("TAVIK_INDEX", str(Path(PROGRAM).parent / "tavik_index"))
# Debian 13 names the program differently.
QEMU = shutil.which("qemu-x86_64-static") or shutil.which("qemu-x86_64")
NO_PROCESSOR = "this processor has no SSE4.1, which minimap2 needs\n"


@unittest.skipUnless(platform.machine() == "x86_64", "the emulated processors are x86-64")
@unittest.skipUnless(QEMU, "neither qemu-x86_64-static nor qemu-x86_64 is installed")
class Processors(AlignerTest):
    def test_without_avx2_the_output_matches_minimap2(self):
        for program in (PROGRAM, INDEX):
            emulated = self.write(Path(program).name, f'#!/bin/sh\nexec {QEMU} -cpu Nehalem "{program}" "$@"\n')
            emulated.chmod(0o755)
        judge = subprocess.run([SOURCE / "tests/judges/compare-with-minimap2", "--program", self.folder / "tavik_aligner",
                                REFERENCE, READS], capture_output=True, text=True)
        self.assertEqual((judge.returncode, judge.stderr), (0, ""), judge.stdout)

    def test_without_sse41_the_programs_refuse_to_run(self):
        for program, args in ((PROGRAM, ("-i", READS, "-s", "out", "-a", REFERENCE)), (INDEX, (REFERENCE, "own"))):
            run = Run(QEMU, ("-cpu", "kvm64", program, *args), "", self.folder)
            self.assertEqual((run.status, run.stdout, run.stderr), (1, "", f"{Path(program).name}: {NO_PROCESSOR}"))
        self.assertEqual(os.listdir(self.folder), [])


if __name__ == "__main__":
    unittest.main()

#!/usr/bin/env python3
"""What lies in the build tree and in the installed tree. The environment variable TAVIK_BUILD names the build tree;
without it, that is the release build. Each class is one test of ctest."""

import os
import re
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path

SOURCE = Path(__file__).resolve().parents[2]
BUILD = Path(os.environ.get("TAVIK_BUILD", SOURCE / "build" / "release"))
PRIVATE_LIBRARY = "lib/tavik_aligner/libqel_minimap2.so"


def run(*command, **options):
    done = subprocess.run([str(word) for word in command], capture_output=True, text=True, check=False, **options)
    return done.returncode, done.stdout, done.stderr


def programs(tree):
    """The names of a tree's programs, scripts left out."""
    files = (path for path in (tree / "bin").iterdir() if path.is_file())
    return {path.name for path in files if path.read_bytes()[:4] == b"\x7fELF"}


class InstallationTest(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.folder = Path(tempfile.mkdtemp(prefix="tavik_installation_test_"))
        self.addCleanup(shutil.rmtree, self.folder)
        self.folder.chmod(0o755)


class InstalledTree(InstallationTest):
    def setUp(self):
        super().setUp()
        status, _, errors = run("cmake", "--install", BUILD, "--prefix", self.folder / "first")
        self.assertEqual((status, errors), (0, ""))
        self.tree = self.folder / "moved"  # The tree works wherever it is put.
        (self.folder / "first").rename(self.tree)

    def test_libraries_are_searched_in_the_private_folder_only(self):
        def search_path(file):
            dynamic = subprocess.check_output(["readelf", "-d", "-W", file], text=True)
            return re.findall(r"\((?:RUNPATH|RPATH)\).*\[(.*)\]", dynamic)

        self.assertEqual({"tavik_aligner"} <= programs(self.tree) <= programs(BUILD), True)
        for tree, names in ((BUILD, programs(BUILD)), (self.tree, programs(self.tree))):
            paths = {name: search_path(tree / "bin" / name) for name in names}
            self.assertEqual(paths, {name: ["$ORIGIN/../lib/tavik_aligner"] for name in names})
            self.assertEqual(search_path(tree / PRIVATE_LIBRARY), [])

    def test_a_library_in_the_current_folder_is_not_run(self):
        for name in ("libqel_minimap2.so", "libboost_log.so.1.74.0", "libz.so.1"):
            (self.folder / name).write_text("no library\n")
        for tree in (BUILD, self.tree):
            status, usage, errors = run(tree / "bin" / "tavik_aligner", "-h", cwd=self.folder)
            self.assertEqual((status, errors, "--align_ref" in usage), (0, "", True))

    def test_a_wrapper_library_of_the_four_functions_serves_the_program(self):
        functions = ("qelmm_load_index", "qelmm_cache_idx_occ_thres", "qelmm_align", "qelmm_unload_index")
        (self.folder / "four.cpp").write_text("".join(f'extern "C" void* {name}() {{ return nullptr; }}\n'
                                                      for name in functions))
        run("c++", "-shared", "-fPIC", "-Wl,-soname,libqel_minimap2.so", "-o", self.tree / PRIVATE_LIBRARY,
            self.folder / "four.cpp")
        reference = SOURCE / "examples/reference.fasta"
        status, _, errors = run(self.tree / "bin/tavik_aligner", "-i", "", "-s", self.folder / "out", "-a", reference)
        self.assertEqual(status, 1)
        self.assertIn(f"Failed to load index {reference} with error: Could not load index {reference}\n", errors)

    def test_moved_tree_aligns_its_examples_and_keeps_run_bits(self):
        examples = self.tree / "share/doc/tavik-aligner/examples"
        status, _, errors = run(self.tree / "bin/tavik_aligner", "-i", examples / "reads", "-s", self.folder / "out",
                                "-a", examples / "reference.fasta")
        self.assertEqual((status, errors), (0, ""))
        self.assertEqual(len((self.folder / "out/alignment_summary.txt").read_text().splitlines()), 46)
        log = next((self.folder / "out").glob("read_processor_log-*.log")).read_text()
        _, version, _ = run("dpkg-query", "-W", "-f", "${Version}", "libminimap2-dev")
        self.assertRegex(log, rf"(?m)^.*\[info\].* Mapping with minimap2 {re.escape(version)}$")
        for file in (path for path in (SOURCE / "examples").rglob("*") if path.is_file()):
            there = examples / file.relative_to(SOURCE / "examples")
            self.assertEqual(os.access(there, os.X_OK), os.access(file, os.X_OK), there)


class Scripts(InstallationTest):
    def stub(self, name, text):
        path = self.folder / name
        path.parent.mkdir(exist_ok=True)
        path.write_text(f"#!/bin/bash\n{text}\n")
        path.chmod(0o755)

    def test_hint_for_those_without_sudo_is_what_root_would_run(self):
        # A machine on which nothing is installed, sudo neither; apt-get tells what it was asked for.
        script = shutil.copy(SOURCE / "scripts/install-dependencies", self.folder)
        self.stub("bin/dpkg-query", "exit 1")
        self.stub("bin/apt-get", 'echo "apt-get $*"')
        for tool in ("bash", "env", "grep"):
            (self.folder / "bin" / tool).symlink_to(shutil.which(tool))
        environment = {"PATH": str(self.folder / "bin")}
        as_other = {"user": 65534, "group": 65534, "extra_groups": []} if os.geteuid() == 0 else {}
        status, _, hint = run(script, env=environment, cwd="/", **as_other)
        self.assertEqual(status, 1)
        command = hint.splitlines()[-1]
        status, asked, errors = run("bash", "-c", command, env=environment)
        self.assertEqual((status, errors), (0, ""))
        packages = re.findall(r"^(?:build|test +|check) +(\S+)", Path(script).read_text(), re.MULTILINE)
        self.assertEqual(asked, "apt-get update -q\n"
                         f"apt-get install -q -y --no-install-recommends {' '.join(packages)}\n")
        if os.geteuid() == 0:
            self.assertEqual(run(script, env=environment)[1].split("\n", 1)[1], asked)

    def test_example_tells_of_the_build_and_of_its_failure(self):
        (self.folder / "scripts").mkdir()
        script = shutil.copy(SOURCE / "scripts/run-example", self.folder / "scripts")
        self.stub("scripts/install-dependencies", "")
        self.stub("scripts/build", "echo '[1/2] one'; echo 'no compiler' >&2; exit 3")
        status, output, errors = run(script)
        self.assertEqual((status, errors), (1, "[1/2] one\nno compiler\nrun-example: the build failed after 0 s; its log "
                                            "is build/run-example.log.\n"))
        self.assertRegex(output, r"^Building the program: .* minutes .* Log: build/run-example\.log\n$")


if __name__ == "__main__":
    unittest.main(verbosity=2)

#!/usr/bin/env python3
"""What takes too long for the suite: README's program on top of the libraries is built. `scripts/check package` runs it."""

import os
import re
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path

SOURCE = Path(__file__).resolve().parents[2]
README = (SOURCE / "README.md").read_text()


def check(*command, **options):
    """The standard output of a command that must succeed."""
    done = subprocess.run([str(word) for word in command], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          check=False, **options)
    if done.returncode != 0:
        raise AssertionError(f"$ {' '.join(map(str, command))}\n{done.stdout}\nstatus {done.returncode}")
    return done.stdout


class PackageTest(unittest.TestCase):
    def setUp(self):
        self.folder = Path(tempfile.mkdtemp(prefix="tavik_package_test_"))
        self.addCleanup(shutil.rmtree, self.folder)


class Libraries(PackageTest):
    def test_readme_program_on_top_of_the_libraries_builds_and_maps(self):
        blocks = dict(re.findall(r"^```(cmake|cpp)\n(.*?)^```$", README, re.MULTILINE | re.DOTALL))
        # The clone stays where it is and the build lies beside others, so that the compiler cache knows the files.
        project = blocks["cmake"].replace("(tavik_aligner)", f"({SOURCE} tavik_aligner)")
        (self.folder / "CMakeLists.txt").write_text(project)
        (self.folder / "my_mapper.cpp").write_text(blocks["cpp"])
        launchers = [f"-DCMAKE_{language}_COMPILER_LAUNCHER=ccache" for language in ("C", "CXX")]
        build = SOURCE / "build" / "my_mapper"
        shutil.rmtree(build, ignore_errors=True)
        self.addCleanup(shutil.rmtree, build)
        check("cmake", "-S", self.folder, "-B", build, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release", *launchers)
        check("cmake", "--build", build, "--target", "my_mapper", "--parallel", os.cpu_count())
        reference = shutil.copy(SOURCE / "examples/reference.fasta", self.folder)
        check("bwa", "index", reference)
        bases = "".join(Path(reference).read_text().split(">")[2].split("\n")[1:])[4000:4500]
        self.assertEqual(check(build / "my_mapper", reference, "piece", bases).splitlines()[-1], "chr_small 4001 1")


if __name__ == "__main__":
    unittest.main(verbosity=2)

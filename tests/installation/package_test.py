#!/usr/bin/env python3
"""Tests that take too long for the suite. They build the Debian package, check it with lintian and install it on a bare
Debian. They also build and run the program in docs/embedding.md. `scripts/check package` runs these tests."""

import gzip
import json
import os
import re
import shutil
import subprocess
import unittest
from pathlib import Path

from bare_debian import RELEASE, enter, make_bare_debian
from installation_test import SOURCE, InstallationTest

README = (SOURCE / "README.md").read_text()


def check(*command, **options):
    """Runs a command that must succeed and returns its output."""
    done = subprocess.run([str(word) for word in command], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          check=False, **options)
    if done.returncode != 0:
        raise AssertionError(f"$ {' '.join(map(str, command))}\n{done.stdout}\nstatus {done.returncode}")
    return done.stdout


class Package(InstallationTest):
    @classmethod
    def setUpClass(cls):
        cls.package = Path(check("scripts/build-package", cwd=SOURCE).splitlines()[-1])

    def assert_aligns(self, root, *enter):
        """Runs the package's programs, except tavik_live, on the package's examples. If the package is installed in the
        system `root`, `enter` contains the words to put before each command. If the package is only unpacked in the
        folder `root`, `enter` is empty."""
        examples = Path("/usr/share/doc/tavik-aligner/examples")
        programs, out = Path("/usr/bin"), "/tmp/out"
        if not enter:
            examples, programs, out = root / examples.relative_to("/"), root / "usr/bin", root / "out"
        arguments = (examples / "reads", out)
        index = f"{out}.tvi"
        check(*enter, programs / "tavik_index", examples / "reference.fasta", index)
        check(*enter, programs / "tavik_aligner", "-i", arguments[0], "-s", arguments[1], "-a", index)
        self.assertIn(": nothing lost", check(*enter, programs / "tavik_check", *arguments))
        check(*enter, programs / "tavik_report", "-z", arguments[1])

    def test_lintian_and_man_report_nothing(self):
        root = ["--allow-root"] if os.geteuid() == 0 else []
        self.assertEqual(check("lintian", *root, "--display-info", "--fail-on", "error,warning,info",
                               "--tag-display-limit", "0", self.package), "")
        check("dpkg-deb", "-x", self.package, self.folder)
        pages = sorted((self.folder / "usr/share/man/man1").iterdir())
        self.assertEqual([page.name for page in pages],
                         [f"{program.name}.1.gz" for program in sorted((self.folder / "usr/bin").iterdir())])
        for page in pages:
            done = subprocess.run(["man", "--warnings", "-E", "UTF-8", "-l", "-Tutf8", "-Z", page], capture_output=True,
                                  text=True, check=True, env={**os.environ, "MANROFFSEQ": "", "MANWIDTH": "80"})
            self.assertEqual(done.stderr, "", page.name)

    def test_programs_and_library_are_hardened(self):
        """Checks the effects of Debian's hardening flags; lintian checks only some of them."""
        for command in json.loads((SOURCE / "build/package/compile_commands.json").read_text()):
            self.assertIn(" -D_FORTIFY_SOURCE=2 ", command["command"])
        check("dpkg-deb", "-x", self.package, self.folder)
        files = [path for path in self.folder.rglob("*") if path.is_file() and path.read_bytes()[:4] == b"\x7fELF"]
        self.assertIn("libqel_minimap2.so", {path.name for path in files})
        for path in files:
            headers = check("readelf", "-W", "-h", "-l", "-d", "--dyn-syms", path)
            for sign in (r"Type: +DYN", r"GNU_RELRO", r"FLAGS.* (BIND_)?NOW", r"__stack_chk_fail@"):
                self.assertRegex(headers, sign, path)
            self.assertNotRegex(headers, r"GNU_STACK.* RWE ", path)

    def test_debian_changelog_has_an_entry_for_this_version(self):
        check("dpkg-deb", "-x", self.package, self.folder)
        changelog = gzip.open(self.folder / "usr/share/doc/tavik-aligner/changelog.Debian.gz", "rt").read()
        (self.folder / "changelog").write_text(changelog)
        entry = dict(re.findall(r"^(\S+): (.*)", check("dpkg-parsechangelog", "-l", self.folder / "changelog"), re.MULTILINE))
        self.assertEqual((entry["Source"], entry["Version"], entry["Distribution"]),
                         ("tavik-aligner", check("dpkg-deb", "-f", self.package, "Version").strip(), RELEASE))
        self.assertRegex(changelog, r"\n\n(  \* [A-Z/t][^*]*\.\n(    [^*]*\n)*)+\n -- ")

    def test_readme_names_the_libraries_that_the_package_depends_on(self):
        field = check("dpkg-deb", "-f", self.package, "Depends").replace("1.83.0", "1.74.0")
        depends = set(re.findall(r"(?:^|, )([^ ,\n]+)", field))
        named = re.findall(r"`([a-z0-9.+-]+)`", README.split("needs the packages")[1].split("\n\n")[0])
        self.assertEqual(set(named), depends - {"libc6", "libgcc-s1", "libstdc++6", "python3"})  # The workflow needs python3.

    def test_package_contains_the_licences_of_statically_linked_code(self):
        check("dpkg-deb", "-x", self.package, self.folder)
        text = (self.folder / "usr/share/doc/tavik-aligner/copyright").read_text()
        for holder in ("Dana-Farber Cancer Institute", "Broad Institute", "Attractive Chaos", "Chart.js Contributors", "Niels Lohmann",
                       "Evan Nemerson"):
            self.assertIn(holder, text)

    def test_package_installs_and_runs_on_a_bare_debian(self):
        """If no bare Debian can be made, the unpacked package runs on this machine."""
        root = self.folder / "root"
        if not make_bare_debian(root):
            print("no bare Debian is available: the package is unpacked and run on this machine", flush=True)
            check("dpkg-deb", "-x", self.package, self.folder / "unpacked")
            self.assert_aligns(self.folder / "unpacked")
            return
        within = enter(root)
        shutil.copy(self.package, root / "package.deb")
        check(*within, "apt-get", "update", "-q")
        check(*within, "apt-get", "install", "-q", "-y", "--no-install-recommends", "/package.deb")
        self.assert_aligns(root, *within)
        check(*within, "apt-get", "purge", "-q", "-y", "tavik-aligner")
        self.assertEqual([path for path in root.rglob("*tavik*") if "/tmp/" not in str(path)], [])


class Libraries(InstallationTest):
    def test_documented_program_that_embeds_the_libraries_builds_and_maps(self):
        blocks = dict(re.findall(r"^```(cmake|cpp)\n(.*?)^```$", (SOURCE / "docs/embedding.md").read_text(), re.MULTILINE | re.DOTALL))
        # The libraries' sources and the build folder have the same paths in each run, so that the compiler cache helps.
        project = blocks["cmake"].replace("(tavik_aligner)", f"(\"{SOURCE}\" tavik_aligner)")
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
        for arguments, status, stdout, stderr in (
            ([Path(reference).name, "piece", bases], 0, "chr_small 4001 1\n", r"^$"),
            ([], 1, "", r"^Usage: my_mapper REFERENCE NAME BASES\n$"),
            (["none.fasta", "piece", bases], 1, "", r"^my_mapper: Command '.*' finished with error code \d+\n$"),
        ):
            done = subprocess.run([build / "my_mapper", *arguments], cwd=self.folder, capture_output=True, text=True,
                                  check=False)
            self.assertEqual((done.returncode, done.stdout), (status, stdout), done.stderr)
            self.assertRegex(done.stderr, stderr)


if __name__ == "__main__":
    unittest.main(verbosity=2)

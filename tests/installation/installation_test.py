#!/usr/bin/env python3
"""Tests the build tree, the installed tree and the scripts. The environment variable TAVIK_BUILD names the build tree;
the default is the release build. Each class is one ctest test."""

import gzip
import json
import os
import re
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path

from bare_debian import ALONE, RELEASE

SOURCE = Path(__file__).resolve().parents[2]
BUILD = Path(os.environ.get("TAVIK_BUILD", SOURCE / "build" / "release"))
os.environ["LC_ALL"] = "C.UTF-8"  # The tests compare English messages. A locale that is not installed causes warnings.
PRIVATE_LIBRARY = "lib/tavik_aligner/libqel_minimap2.so"


def run(*command, **options):
    done = subprocess.run([str(word) for word in command], capture_output=True, text=True, check=False, **options)
    return done.returncode, done.stdout, done.stderr


def programs(tree):
    """Returns the names of a tree's programs, without scripts."""
    files = (path for path in (tree / "bin").iterdir() if path.is_file())
    return {path.name for path in files if path.read_bytes()[:4] == b"\x7fELF"}


class InstallationTest(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.addCleanup(os.umask, os.umask(0o022))
        self.folder = Path(tempfile.mkdtemp(prefix="tavik_installation_test_"))
        self.addCleanup(shutil.rmtree, self.folder)
        self.folder.chmod(0o755)


class InstalledTree(InstallationTest):
    def setUp(self):
        super().setUp()
        status, _, errors = run("cmake", "--install", BUILD, "--prefix", self.folder / "first")
        self.assertEqual((status, errors), (0, ""))
        self.tree = self.folder / "moved"  # The tree must work in any folder.
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

    def test_program_runs_with_a_wrapper_library_of_four_functions(self):
        functions = ("qelmm_load_index", "qelmm_cache_idx_occ_thres", "qelmm_align", "qelmm_unload_index")
        (self.folder / "four.cpp").write_text("".join(f'extern "C" void* {name}() {{ return nullptr; }}\n'
                                                      for name in functions))
        run("c++", "-shared", "-fPIC", "-Wl,-soname,libqel_minimap2.so", "-o", self.tree / PRIVATE_LIBRARY,
            self.folder / "four.cpp")
        reference = SOURCE / "examples/reference.fasta"
        status, _, errors = run(self.tree / "bin/tavik_aligner", "-i", "", "-s", self.folder / "out", "-a", reference)
        self.assertEqual(status, 1)
        self.assertIn(f"Failed to load index {reference} with error: Could not load index {reference}\n", errors)

    def test_moved_tree_aligns_its_examples_and_logs_the_version_of_minimap2(self):
        examples = self.tree / "share/doc/tavik-aligner/examples"
        status, _, errors = run(self.tree / "bin/tavik_aligner", "-i", examples / "reads", "-s", self.folder / "out",
                                "-a", examples / "reference.fasta")
        self.assertEqual((status, errors), (0, ""))
        self.assertEqual(len((self.folder / "out/alignment_summary.txt").read_text().splitlines()), 46)
        log = next((self.folder / "out").glob("read_processor_log-*.log")).read_text()
        _, version, _ = run("dpkg-query", "-W", "-f", "${Version}", "libminimap2-dev")
        self.assertRegex(log, rf"(?m)^.*\[info\].* Mapping with minimap2 {re.escape(version)}$")

    def test_files_and_their_modes(self):
        doc, share, programs = Path("share/doc/tavik-aligner"), Path("share"), (
            "tavik_aligner", "tavik_check", "tavik_index", "tavik_live", "tavik_report")
        expected = {Path("bin", name): 0o755 for name in programs}
        expected |= {share / f"man/man1/{name}.1.gz": 0o644 for name in programs}
        expected |= {share / f"bash-completion/completions/{name}": 0o644 for name in programs}
        expected |= {doc / name: 0o644 for name in ("README.md", "changelog.Debian.gz", "changelog.gz", "copyright")}
        if RELEASE == "bookworm":
            expected[share / "lintian/overrides/tavik-aligner"] = 0o644
        for name, folder in (("docs", doc), ("examples", doc), ("workflow", share / "tavik_aligner")):
            tracked = (run("git", "ls-files", name, cwd=SOURCE)[1].splitlines() if shutil.which("git") else []) or [
                path.relative_to(SOURCE) for path in (SOURCE / name).rglob("*") if path.is_file() and path.suffix != ".pyc"]
            for file in map(Path, tracked):
                # Debian keeps documentation in one folder.
                target = doc / file if file == Path("workflow/README.md") else folder / file
                expected[target] = 0o755 if os.access(SOURCE / file, os.X_OK) else 0o644
        found = {path.relative_to(self.tree): path.stat().st_mode & 0o777 for path in self.tree.rglob("*") if path.is_file()
                 and "__pycache__" not in path.parts}
        library = found.pop(Path(PRIVATE_LIBRARY))
        self.assertEqual((found, library & 0o644), (expected, 0o644))


    def options(self, program):
        """Returns the options in a program's help, as (names, whether the option takes a value)."""
        _, usage, _ = run(self.tree / "bin" / program, "--help")
        found = re.findall(r"^  (-\w|--[\w-]+)(?: \[ (--\w+) \]|, (--[\w-]+))?( \S)?", usage, re.MULTILINE)
        self.assertGreater(len(found), 3, usage)
        return sorted((tuple(filter(None, names)), bool(value)) for *names, value in found)

    def test_each_program_has_a_man_page_that_lists_its_options(self):
        version = re.search(r"Version (\S+)$", run(self.tree / "bin/tavik_aligner", "-v")[1])[1]
        for program in (path.name for path in (self.tree / "bin").iterdir()):
            page = gzip.open(self.tree / f"share/man/man1/{program}.1.gz", "rt").read()
            self.assertEqual(re.search(r"^\.TH (\S+) 1 [-\d]+ \"(.*?)\"", page, re.MULTILINE).groups(),
                             (program.upper(), f"tavik_aligner {version}"))
            heads = re.findall(r"^\.TP\n(\.BR? \\-.*)$", page, re.MULTILINE)
            described = [(tuple(re.findall(r"-[\w-]+", head.replace("\\-", "-"))), "\\fI" in head) for head in heads]
            self.assertEqual(sorted(described), self.options(program))
            if program == "tavik_aligner":
                columns = re.findall(r"^\| `(read_id|alignment_\w+)`", (SOURCE / "README.md").read_text(), re.MULTILINE)
                self.assertEqual(re.findall(r"^\.TP\n\.I (read_id|alignment_\w+)$", page, re.MULTILINE), columns)

    def complete(self, line):
        """Returns bash's proposals for the end of a command line, made by the completions in the installed tree."""
        script = """. /usr/share/bash-completion/bash_completion
            _completion_loader "$1"
            COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)) COMP_LINE=$0 COMP_POINT=${#COMP_LINE} COMP_TYPE=9 COMP_KEY=9
            function=$(complete -p "$1" | sed 's/.*-F \\(\\S*\\).*/\\1/')
            compopt() { :; }
            "$function" "$1" "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
            printf '%s\\n' "${COMPREPLY[@]}" """
        environment = {**os.environ, "XDG_DATA_DIRS": str(self.tree / "share")}
        _, proposed, errors = run("bash", "--norc", "-c", script, line, *re.findall(r"=|[^\s=]+|(?<= )$", line),
                                  cwd=self.folder, env=environment)
        self.assertEqual(errors, "")
        return sorted(filter(None, proposed.split("\n")))

    def test_bash_completes_options_and_files(self):
        (self.folder / "a folder").mkdir()
        references = ["a folder", "a ref.FASTA", "a.FNA", "a.fa.gz", "a.fna.gz", "a.fq.bgz", "a.mmi", "a.tvi"]
        everything = sorted([*references, "a.mmi.gz", "a.txt", "a.txt.gz"])
        for name in everything[1:]:
            (self.folder / name).write_text("")
        programs = [path.name for path in (self.tree / "bin").iterdir()]
        for program in programs:
            names = sorted(name for names, _ in self.options(program) for name in names)
            self.assertEqual(self.complete(f"{program} -"), names)
            self.assertEqual(self.complete(f"{program} --he"), ["--help"])
        cases = [
            ("aligner -i a", ["a folder"]), ("aligner --save_path=a", ["a folder"]), ("aligner -s ", ["a folder", "moved"]),
            ("aligner -a a", references), ("aligner --align_ref=a", references), ("aligner -a a.", references[2:]),
            ("aligner -c a.", everything[2:]), ("aligner -t ", []), ("aligner -i x --m", ["--min_coverage"]),
            ("index a", references), ("index --check a", ["a folder", "a.tvi"]), ("index -t ", []),
            ("check a", everything), ("check --table=a.tx", ["a.txt", "a.txt.gz"]),
            ("live -s a", ["a folder"]), ("live -a a.", references[2:]), ("live --until-idle ", []),
            ("report a", ["a folder", "a.txt"]), ("report -o a", ["a folder"]),
        ]
        for line, expected in cases:
            self.assertEqual(self.complete(f"tavik_{line}"), expected, line)


class Configuration(InstallationTest):
    def test_build_type_and_warnings_of_top_level_and_embedded_builds(self):
        (self.folder / "CMakeLists.txt").write_text("cmake_minimum_required(VERSION 3.25)\nproject(embeds LANGUAGES C CXX)\n"
                                                    f"add_subdirectory(\"{SOURCE}\" tavik)\n")
        embedding = ("-S", self.folder)
        for number, (arguments, build_type, warnings_stop) in enumerate((
                (("-S", SOURCE), "Release", False),
                (("-S", SOURCE, "-DCMAKE_BUILD_TYPE=Debug"), "Debug", False),
                (("-S", SOURCE, "--preset", "release"), "Release", True),
                (("-S", SOURCE, "-G", "Ninja Multi-Config"), "", False),
                (embedding, "", False))):
            with self.subTest(arguments=arguments):
                build = self.folder / f"build {number}"
                # install-dependencies installs Ninja; CMake's default, make, may be missing.
                status, output, errors = run("cmake", *arguments, "-B", build, "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON",
                                           env={**os.environ, "CMAKE_GENERATOR": "Ninja"})
                self.assertEqual((status, errors), (0, ""))
                self.assertEqual("-- No build type is set: building as Release\n" in output, number == 0)
                cache = (build / "CMakeCache.txt").read_text()
                self.assertEqual((re.findall(r"^CMAKE_BUILD_TYPE:\w+=(.*)", cache, re.MULTILINE) or [""])[0], build_type)
                commands = [one["command"] for one in json.loads((build / "compile_commands.json").read_text())]
                self.assertGreater(len(commands), 30)
                self.assertEqual({" -Werror " in command for command in commands}, {warnings_stop})
                if build_type:
                    self.assertEqual({" -O3 " in command for command in commands}, {build_type == "Release"})
                self.assertEqual((build / "CTestTestfile.cmake").exists(), arguments != embedding)

    def test_an_untested_or_unsuitable_minimap2_is_refused(self):
        # Simulates a minimap2 of another release, and then a minimap2 in which the linker cannot replace a function.
        tree = self.folder / "source"
        shutil.copytree(SOURCE, tree, ignore=shutil.ignore_patterns("build", ".git"), symlinks=True)
        (self.folder / "dpkg-query").write_text("#!/bin/sh\nprintf 2.99+dfsg-1\n")
        (self.folder / "dpkg-query").chmod(0o755)
        configure = ("cmake", "-G", "Ninja", "-S", tree, "-B", self.folder / "build", f"-DDPKG_QUERY={self.folder}/dpkg-query")
        status, _, errors = run(*configure)
        self.assertIn("minimap2 2.99 has not been tested with this project", " ".join(errors.split()))
        self.assertEqual((status, run(*configure, "-DTAVIK_UNJUDGED_MINIMAP2=ON")[0]), (1, 0))
        (self.folder / "build/CMakeCache.txt").unlink()
        dependencies = tree / "cmake/TavikDependencies.cmake"
        dependencies.write_text(dependencies.read_text().replace("radix_sort_128x", "radix_sort_64"))
        status, _, errors = run(*configure, "-DTAVIK_UNJUDGED_MINIMAP2=ON")
        self.assertEqual((status, "undefined reference" in errors), (1, True), errors)


class Scripts(InstallationTest):
    def stub(self, name, text):
        path = self.folder / name
        path.parent.mkdir(exist_ok=True)
        path.write_text(f"#!/bin/bash\n{text}\n")
        path.chmod(0o755)

    def test_hint_without_sudo_is_the_command_that_root_must_run(self):
        # Simulates a machine without sudo and without any of the packages. Its apt-get prints its own command line.
        script = shutil.copy(SOURCE / "scripts/install-dependencies", self.folder)
        self.stub("bin/dpkg-query", "exit 1")
        self.stub("bin/apt-get", 'echo "apt-get $*"')
        for tool in ("bash", "env", "grep", "sed", "uniq"):
            (self.folder / "bin" / tool).symlink_to(shutil.which(tool))
        environment = {"PATH": str(self.folder / "bin")}
        as_other = {"user": 65534, "group": 65534, "extra_groups": []} if os.geteuid() == 0 else {}
        status, _, hint = run(script, env=environment, cwd="/", **as_other)
        self.assertEqual(status, 1)
        command = hint.splitlines()[-1]
        status, asked, errors = run("bash", "-c", command, env=environment)
        self.assertEqual((status, errors), (0, ""))
        packages = re.findall(r"^(?:build|test(?::\w+)?|check) +(\S+) +\w", Path(script).read_text(), re.MULTILINE)
        self.assertEqual(asked, "apt-get update -q\n"
                         f"apt-get install -q -y --no-install-recommends {' '.join(packages)}\n")
        if os.geteuid() == 0:
            self.assertEqual(run(script, env=environment)[1].split("\n", 1)[1], asked)

        hint = run(script, "cross", env=environment, cwd="/", **as_other)[2]
        self.assertIn("\n  dpkg --add-architecture arm64 && apt-get update -q && apt-get install ", hint)

        # A package of another architecture does not count, unless its name includes that architecture.
        self.stub("bin/dpkg", "echo riscv64")
        for group, installed, missing in (("build", "arm64 riscv64", False), ("build", "all", False), ("build", "arm64 amd64", True),
                                          ("cross", "riscv64 arm64", False), ("cross", "riscv64", True)):
            self.stub("bin/dpkg-query", f"for a in {installed}; do echo $a installed; done")
            self.assertEqual(run(script, group, env=environment, cwd="/", **as_other)[0], int(missing), (group, installed))
        self.stub("bin/dpkg-query", "exit 1")

        environment["TAVIK_TESTS_WITHOUT"] = "chromium snakemake"
        fewer = [package for package in packages if package not in ("chromium", "chromium-driver", "python3-selenium", "snakemake")]
        self.assertEqual(len(fewer), len(packages) - 4)
        _, _, hint = run(script, env=environment, cwd="/", **as_other)
        self.assertEqual(hint.splitlines()[-1].split("--no-install-recommends ")[1].split(), fewer)
        environment["TAVIK_TESTS_WITHOUT"] = "multiqc chrome"
        self.assertEqual(run(script, env=environment), (2, "", "install-dependencies: TAVIK_TESTS_WITHOUT names 'chrome'; it can "
                                                        "leave out chromium multiqc snakemake and nothing else.\n"))

    def test_only_tests_of_left_out_programs_are_skipped(self):
        tests = json.loads(run("ctest", "--test-dir", BUILD, "--show-only=json-v1")[1])["tests"]
        skipped = {}
        for test in tests:
            properties = {item["name"]: item["value"] for item in test["properties"]}
            if properties.get("SKIP_RETURN_CODE") == 77 and Path(test["command"][0]).name == "run-unless-left-out":
                skipped[test["name"]] = test["command"][:2]
        self.assertEqual({word for _, word in skipped.values()}, {"chromium", "multiqc", "snakemake"})
        for script, word in skipped.values():
            for others, status, said in (("", 3, ""), (f"my{word} {word}s", 3, ""), ("multiqc snakemake chromium", 77, "Skipped: it "
                                         f"needs {word}, which TAVIK_TESTS_WITHOUT leaves out.\n")):
                environment = {**os.environ, "TAVIK_TESTS_WITHOUT": others}
                self.assertEqual(run(script, word, "sh", "-c", "exit 3", env=environment), (status, said, ""))

    def test_the_checks_of_a_plain_user_and_the_status_of_the_suite(self):
        for name in ("run-tests", "check"):
            (self.folder / "scripts").mkdir(exist_ok=True)
            shutil.copy(SOURCE / "scripts" / name, self.folder / "scripts")
        for name in ("install-dependencies", "build", "test-as-user"):
            self.stub(f"scripts/{name}", f'echo "{name} $*"')
        self.stub("bin/ctest", 'echo "ctest $*"; exit 5')
        environment = {"PATH": f"{self.folder / 'bin'}:{os.environ['PATH']}"}
        self.assertEqual(run(self.folder / "scripts/run-tests", "-R", "a b", env=environment),
                         (5, "install-dependencies build test\nbuild release\nctest --preset release -R a b\n", ""))
        start = "install-dependencies build test check\n== user\n"
        said = "Left to scripts/run-tests, which runs the suite as this plain user; only root can run it as another one.\n"
        check = self.folder / "scripts/check"
        if os.geteuid() == 0:
            self.assertEqual(run(check, "user"), (0, start + "test-as-user \n", ""))
            self.assertEqual(run(check, "user", cwd="/", user=65534), (0, start + said, ""))
        else:
            self.assertEqual(run(check, "user"), (0, start + said, ""))
        self.assertEqual(run(check, "users")[0], 2)

    def test_platforms_that_differ_or_cannot_be_tried_count_as_failures(self):
        for name in ("scripts/prove-platforms", "tests/installation/bare_debian.py", "tests/installation/place.py"):
            (self.folder / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(SOURCE / name, self.folder / name)
        self.stub("scripts/install-dependencies", "")
        # A build for the platform nehalem writes scripts that call the emulator, so the stub writes such a script, too.
        emulated = "build/release/emulated/bin"
        self.stub("scripts/build", f"mkdir -p {emulated}; printf '#!/bin/sh' >{emulated}/tavik_aligner; chmod +x {emulated}/*")
        (self.folder / "tests/judges").mkdir()
        self.stub("tests/judges/compare-with-minimap2", "echo 'a: b: 7 reads, 9 lines, 7 rows, 2 differences'; exit 1")
        self.stub("bin/qemu-x86_64-static", "")
        self.stub("bin/git", "printf 'scripts/build\\0tests/judges/compare-with-minimap2\\0'")
        self.stub("bin/debootstrap", "exit 1")
        script = self.folder / "scripts/prove-platforms"
        environment = {"PATH": f"{self.folder / 'bin'}:{os.environ['PATH']}", "TAVIK_PLATFORMS_CACHE": f"{self.folder}/cache"}
        said = "prove-platforms: needs an x86-64 machine and root, to enter other Debian systems.\n"
        if os.geteuid() != 0 or os.uname().machine != "x86_64":
            self.assertEqual(run(script, env=environment), (1, "", said))
            return
        self.assertEqual(run(script, env=environment, cwd="/", user=65534), (1, "", said))
        if run(*ALONE, "true")[0] != 0:  # Most containers forbid new mounts.
            return
        status, table, _ = run(script, "nehalem", "arm64", env=environment)
        self.assertEqual((status, [line.split(" | ")[1:] for line in table.splitlines()[2:]]), (1, [
            ["yes", "NO: the suite does not run (status 1)", "NO: 2 in 7 reads of 1 sets (status 1) |"],
            ["NO: not tried: no bare Debian (needs debootstrap and a mirror)", "-", "- |"], []]))
        self.assertTrue(table.endswith("\nNOT all is well.\n"), table)

    def test_example_prints_what_readme_shows(self):
        (self.folder / "scripts").mkdir()
        script = shutil.copy(SOURCE / "scripts/run-example", self.folder / "scripts")
        self.stub("scripts/install-dependencies", "")
        self.stub("scripts/build", "")
        (self.folder / "build").mkdir()
        (self.folder / "build/release").symlink_to(BUILD)
        (self.folder / "examples").symlink_to(SOURCE / "examples")
        output = self.folder / "build/example-output"
        (block,) = re.findall(r"^```\n(Building the programs.*?)^```$", (SOURCE / "README.md").read_text(), re.DOTALL | re.MULTILINE)
        status, printed, errors = run(script)
        self.assertEqual((status, errors), (0, ""))

        # Threads finish reads in any order, so the example may show any of the reads.
        summary = [line.split("\t") for line in (output / "alignment_summary.txt").read_text().splitlines()]
        rows = {(name[:8], *map(str, cells)) for name, *cells in summary[1:]}
        records = [line.split("\t")[:6] for line in (output / "sample_1.sam").read_text().splitlines()]
        rows |= {tuple(cell if len(cell) <= 30 else f"{cell[:27]}..." for cell in record) for record in records}

        def lines(text):
            text = re.sub(r"\n\[\.\.\. on a terminal.*", "", text).replace(f"file://{self.folder}", "file:///home/me/tavik")
            text = re.sub(r"\d{4}-\d\d-\d\d [\d:.]+|(?<=Built in )\d+|(?<=Done in )\d+", "#", text)
            return ["a row" if tuple(line.split()) in rows else re.sub("  +", "  ", line) for line in text.split("\n")]

        self.assertEqual(lines(printed), lines(block))

    def test_example_announces_the_build_and_reports_its_failure(self):
        (self.folder / "scripts").mkdir()
        script = shutil.copy(SOURCE / "scripts/run-example", self.folder / "scripts")
        self.stub("scripts/install-dependencies", "")
        self.stub("scripts/build", "echo '[1/2] one'; echo 'no compiler' >&2; exit 3")
        status, output, errors = run(script)
        self.assertEqual(status, 1)
        self.assertRegex(errors, r"^\[1/2\] one\nno compiler\nrun-example: the build failed after \d+ s; its log is "
                                 r"build/run-example\.log\.\n$")
        self.assertRegex(output, r"^Building the programs: .* minutes .* Log: build/run-example\.log\n$")


if __name__ == "__main__":
    unittest.main(verbosity=2)

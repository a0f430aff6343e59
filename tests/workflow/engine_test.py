#!/usr/bin/env python3
"""Tests the whole workflow on one machine. Each class is one ctest test."""

import gzip
import json
import re
import unittest

from workflow_run import ABSENT, CHECK, INDEX, PROGRAM, READS, REFERENCE, REPORT, SNAKEFILE, EngineTest, fastq, ids, page_data

KNOWN = "reads, reference, out, chunk_mb, min_coverage, allow_failed_reads, aligner, check, indexer, report"
PATHS = {"reads": "a folder with read files, or a file with one path per line",
         "reference": "a FASTA file, a minimap2 index or an index made by tavik_index", "out": "a folder for the results",
         "aligner": "a program's name or path"}
OWN = b"\x89TIDX\r\n\x1a"  # The first bytes of an index made by tavik_index.
MEGABYTES, COVERAGE = "must be a number of megabytes above 0, at most 1e9.", "must be a number from 0 to 1."
COUNT = "must be a whole number, 0 or more."
# Wrong settings, which replace correct ones, and the expected messages.
WRONG = [
    ({"reads": "007", "out": "a{b}", "chunk_mb": "abc", "min_coverage": "60", "allow_failed_reads": "0.5", "aligner": "-x",
      "chunk_md": "5", "threads": "x"}, [
        f"reads=7: must be {PATHS['reads']}.", f"out=a{{b}}: must be {PATHS['out']}.", f"chunk_mb=abc: {MEGABYTES}",
        f"min_coverage=60: {COVERAGE}", f"allow_failed_reads=0.5: {COUNT}", "aligner=-x: must be a program's name or path.",
        f"chunk_md=5: there is no such setting. The settings are {KNOWN}.",
        f"threads=x: there is no such setting. The settings are {KNOWN}."]),
    ({"reads": ABSENT, "reference": ABSENT, "chunk_mb": "0", "min_coverage": "abc", "allow_failed_reads": "-1"}, [
        f"chunk_mb=0: {MEGABYTES}", f"min_coverage=abc: {COVERAGE}", f"allow_failed_reads=-1: {COUNT}",
        *(f"{name}: is missing. It must be {PATHS[name]}. Set it with --config {name}=PATH" for name in ("reads", "reference"))]),
    ({"chunk_mb": "inf", "min_coverage": "-0.1"}, [f"chunk_mb=inf: {MEGABYTES}", f"min_coverage=-0.1: {COVERAGE}"]),
    ({"chunk_mb": "", "min_coverage": "nan"}, [f"chunk_mb=: {MEGABYTES}", f"min_coverage=nan: {COVERAGE}"]),
    ({"reads": "gone", "reference": "gone.fa", "out": "list/x"}, [
        f"reads=gone: No such file or directory. It must be {PATHS['reads']}.",
        f"reference=gone.fa: No such file or directory. It must be {PATHS['reference']}.",
        f"out=list/x: must be {PATHS['out']}. FOLDER/list is not a folder."]),
    ({"reads": "in/a.fastq", "reference": "in", "out": "/proc/x"}, [
        f"reads=in/a.fastq: must be {PATHS['reads']}. It is a read file.",
        f"reference=in: Is a directory. It must be {PATHS['reference']}.",
        "out=/proc/x: /proc cannot be written to: REASON."]),
    ({"reads": "empty", "reference": "empty"}, [
        "reads=empty: has these faults:", "    empty: no read files", "reference=empty: is empty."]),
    ({"reads": "list", "reference": "no.mmi"}, [
        "reads=list: has these faults:", "    gone.fq: No such file or directory", "    in/a.fastq: listed twice",
        "    in/../in/a.fastq: is the same file as in/a.fastq",
        "    'a\\tb': names with braces, tabs or line feeds are not supported",
        "reference=no.mmi: is not a minimap2 index, although it is named like one."]),
    ({"reference": "no.tvi"}, ["reference=no.tvi: is not an index made by tavik_index, although it is named like one."]),
    ({name: "gone" for name in ("aligner", "check", "indexer", "report")}, [
        f"{name}=gone: program not found. Add its folder to PATH, or set --config {name}=FILE."
        for name in ("aligner", "check", "indexer", "report")]),
]
CANNOT = "on a cluster, Snakemake cannot take names with single quotes, backslashes or unprintable characters"


class Settings(EngineTest):
    def test_wrong_settings_are_reported_before_anything_begins(self):
        self.write("in/a.fastq", fastq(self.records))
        self.write("list", "in/a.fastq\ngone.fq\nin/a.fastq\nin/../in/a.fastq\na\tb\n")
        self.write("empty", "")
        self.write("no.mmi", ">a\nACGT\n")
        self.write("no.tvi", ">a\nACGT\n")
        before = self.written()
        for settings, messages in WRONG:
            with self.subTest(settings=settings):
                said = self.engine(status=1, **settings)
                said = re.sub("(?<=cannot be written to: ).*", "REASON.", said)  # The reason depends on the user.
                self.assertEqual(said.replace(str(self.folder), "FOLDER"),
                                 "\n".join(["WrongSettings:", *messages, ""]))
        self.assertEqual(self.written(), before)

    def test_names_that_snakemake_cannot_pass_to_a_cluster_are_refused(self):
        self.write("in/it's.fastq", fastq(self.records))
        for settings, message in (({}, f'reads=in: has these faults:\n    "in/it\'s.fastq": {CANNOT}'),
                                  ({"out": "a'b"}, f"out=a'b: {CANNOT}.")):
            self.assertEqual(self.engine("--cluster", "false", "--jobs", "1", status=1, **settings),
                             f"WrongSettings:\n{message}\n")

    def test_linter_only_asks_for_environments(self):
        self.write("in/a.fastq", fastq(self.records))
        lints = json.loads(self.call("/usr/bin/snakemake", "-s", SNAKEFILE, "--lint", "json", "--config", "reads=in",
                                     f"reference={REFERENCE}", f"aligner={PROGRAM}", f"check={CHECK}", f"indexer={INDEX}")[1])
        self.assertEqual(lints["snakefiles"], [])
        self.assertEqual({lint["title"] for rule in lints["rules"] for lint in rule["lints"]},
                         {"Specify a conda environment or container for each rule."})


class Engine(EngineTest):
    def test_files_of_all_folders_are_aligned_and_new_ones_later(self):
        self.write("indexer", f'#!/bin/sh\necho "$@" >>built\nexec "{INDEX}" "$@"\n').chmod(0o755)
        settings = {"chunk_mb": "0.06", "min_coverage": 1, "indexer": "./indexer", "report": ABSENT,
                    "out": "it's \u00e9 \"all\" $x"}
        out = settings["out"]
        self.write("in/a.fastq", fastq(self.records[:8]))
        self.write("in/sub \u00e9'\"/a.fastq", fastq(self.records[8:14]))
        self.engine(**settings)
        rows = ids(self.summary(out))
        self.assertEqual([set(rows[:8]), set(rows[8:])], [set(self.names[:8]), set(self.names[8:14])])
        self.assertEqual({row.split("\t")[1] for row in self.summary(out)}, {"*"})  # Because of min_coverage.
        self.assertEqual([len(list(self.folder.glob(f"it*/{name}"))) for name in ("chunks/*", "alignment_report.html")],
                         [2, 1])
        self.assertIn("Nothing to be done", self.engine(**settings))
        self.write("in/sub \u00e9'\"/b.fastq", fastq(self.records[14:]))
        self.engine(**settings)
        self.assertEqual(sorted(ids(self.summary(out))), sorted(self.names))
        self.assertEqual(self.told("built").count("\n"), 1)

    def test_every_kind_of_reference_gives_the_same_rows(self):
        """An index made by tavik_index is used as it is; one made by minimap2 is converted once."""
        self.write("in/a.fastq", fastq(self.records))
        minimap2, own = self.build_index(), self.folder / "own.tvi"
        self.assertEqual(self.call(INDEX, "-z", minimap2, own), (0, ""))
        asked = set()
        for out, reference in (("fasta", REFERENCE), ("minimap2", minimap2), ("own", own)):
            self.engine(reference=reference, out=out)
            self.assertEqual(sorted(self.summary(out)), sorted(self.summary("fasta")))
            log = next(self.folder.glob(f"{out}/chunks/00000/*.log")).read_text()
            asked.add(re.search("alignment ref.: +(.*)", log)[1])
        self.assertEqual(asked, {"fasta/reference.tvi", "minimap2/reference.tvi", str(own)})

    def test_a_failed_index_is_the_reason_for_all_chunks(self):
        self.write("in/a.fastq", fastq(self.records))
        self.write("cut.fa.gz", gzip.compress(REFERENCE.read_bytes())[:-20])
        self.write("killed", "#!/bin/sh\nkill -9 $$\n").chmod(0o755)
        for settings, reason in (({"reference": "cut.fa.gz"}, r"tavik_index: cut\.fa\.gz: .*"),
                                 ({"indexer": "./killed"},
                                  "There is no message: the job was killed or interrupted, or it ran out of memory or time\\.")):
            said = self.engine("--restart-times", "0", status=1, **settings)
            listed = self.told("all/failed.txt")
            self.assertRegex(listed, r"^chunks not done: 1 of 1\nThe index all/reference\.tvi was not built\.\n"
                             rf"  log: all/logs/index\.txt\n    {reason}\nchunk 00000, 1 file:\n    in/a\.fastq\n"
                             r"    No attempt has begun\.\n$")
            self.assertIn(listed.split("\n", 1)[1], said)
        self.engine()
        self.assertEqual((self.folder / "all/failed.txt").exists(), False)
        # The touched files are newer than the results, so the chunk must be aligned again. That needs a new index,
        # which cannot be built.
        for name in ("cut.fa.gz", "in/a.fastq"):
            (self.folder / name).touch()
        said = self.engine("--restart-times", "0", status=1, reference="cut.fa.gz")
        self.assertRegex(said, r"The index all/reference\.tvi was not built\.\n  log: all/logs/index\.txt\n"
                         r"    tavik_index: cut\.fa\.gz: .*\n")

    def test_damaged_file_fails_only_its_chunk_and_after_its_repair_the_report_covers_all(self):
        """The damaged file and the file whose aligner is killed are tried twice, the other file once."""
        self.write("aligner", f'''#!/bin/sh
list=$(cat); echo "$list" >>ran; echo "$@" >>asked
case $list in *killed*) [ -e once ] || {{ touch once; kill -9 $$; }} ;; esac
echo "$list" | "{PROGRAM}" "$@"
''').chmod(0o755)
        whole = gzip.compress(fastq(self.records[:7]).encode())
        self.write("in/damaged.fastq.gz", whole[:-9])
        self.write("in/good.fastq", fastq([*self.records[7:12], ("@", "ACGT", "IIII")]))  # One read fails.
        self.write("in/killed.fastq", fastq(self.records[12:]))
        settings = {"chunk_mb": "0.001", "aligner": "./aligner", "allow_failed_reads": 1, "min_coverage": 0.5,
                    "report": REPORT}
        said = self.engine("--cores", "2", "--restart-times", "4", status=1, **settings)
        self.assertEqual(sorted(self.told("ran").split()), [f"in/{name}" for name in (
            "damaged.fastq.gz", "damaged.fastq.gz", "good.fastq", "killed.fastq", "killed.fastq")])
        self.assertEqual({line.split(" -a ")[1] for line in self.told("asked").splitlines()},
                         {"all/reference.tvi -t 2 --min_coverage 0.5"})
        (chunk,) = {"00000", "00001", "00002"} - {path.name for path in (self.folder / "all/chunks").iterdir()}
        log = f"all/logs/attempts-{chunk}.txt"
        begin, *reason = self.told(log).split("== ")[-1].splitlines()
        self.assertEqual(begin.split()[-2:], ["attempt", "5"])
        self.assertEqual(reason[-1], "Two attempts had the same loss: the chunk is not aligned again.")
        self.assertTrue(any("in/damaged.fastq.gz" in line for line in reason), reason)
        block = "\n".join([f"chunk {chunk}, 1 file:", "    in/damaged.fastq.gz", f"  last attempt: {begin}", f"  log: {log}",
                           *(f"    {line}" for line in reason), ""])
        self.assertEqual(self.told("all/failed.txt"), f"chunks not done: 1 of 3\n{block}")
        self.assertIn(f"chunks not done: 1 of 3; all/failed.txt has the full list:\n{block}", said)

        self.write("in/damaged.fastq.gz", whole)
        said = self.engine(**settings)
        self.assertEqual(sorted(ids(self.summary("all"))), sorted(self.names))
        self.assertEqual([(self.folder / "all" / name).exists() for name in ("failed.txt", "attempts")], [False, False])
        logs = [path.read_text().splitlines() for path in sorted(self.folder.glob("all/chunks/*/*.log"))]
        run = dict(page_data(self.folder / "all" / "alignment_report.html")["samples"][0]["run"])
        self.assertEqual({name: run[name] for name in ("aligner version", "alignment ref.", "started", "ended", "log files",
                                                       "input files read", "warnings and errors")},
                         {"aligner version": "1.0.0", "alignment ref.": "all/reference.tvi", "input files read": "3",
                          "log files": "3 (for 3 runs)", "started": min(lines[0] for lines in logs)[:19],
                          "ended": max(lines[-1] for lines in logs)[:19], "warnings and errors": "0 and 1"})
        (warning,) = (line for line in said.splitlines() if "1 read failed" in line)
        told = [line.replace(f"{self.folder}/", "") for line in self.told("all/logs/report.txt").splitlines()]
        self.assertEqual(sorted(line for line in told if not line.startswith("all: ")), sorted([
            warning.replace(f"{self.folder}/", ""),
            *(f"all/alignment_report{end}" for end in (".html", "_mqc.json", "_reads_mqc.json"))]))
        self.assertEqual([path for path in self.written() if "all" in path.parts and b"all/attempts" in path.read_bytes()], [])

    def test_jobs_ask_for_the_memory_that_the_reference_needs(self):
        """Each case: the reference's first bytes and size, the cores, a rule, and the MB that the rule's first attempt
        requests. The second attempt requests twice as much."""
        self.write("in/a.fastq", fastq(self.records))
        for begin, size, cores, rule, memory in ((OWN, 1_288_000_000, 2, "align", 500 + 1288 + 2 * 256),
                                                 (OWN, 8_900_500_000, 3, "align", 500 + 8900 + 3 * 256),
                                                 (b"MMI\2", 1_288_000_000, 1, "index", 500 + 1288),
                                                 (b">", 405_000_000, 1, "index", 500 + 1296),
                                                 (b"\x1f\x8b", 900_000_000, 2, "index", 500 + 11_520)):
            with open(self.write("reference", begin), "ab") as file:
                file.truncate(size)
            said = self.engine("--cores", cores, status=1, reference="reference", aligner="false", indexer="false")
            asked = re.findall(r"(?m)^rule (\w+):(?:\n    .*)*?\n    resources:.* mem_mb=(\d+)", said)
            self.assertEqual(asked, [(rule, str(memory)), (rule, str(2 * memory))])


if __name__ == "__main__":
    unittest.main(verbosity=2)

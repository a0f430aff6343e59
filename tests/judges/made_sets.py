"""Generates the references and reads for tests/judges/compare-with-minimap2, the same ones in every run."""

import gzip
import random
import re
import subprocess


class Maker:
    """Generates sequences and reads from a fixed seed and writes them to files."""

    def __init__(self, folder):
        self.folder, self.random = folder, random.Random(7)

    def bases(self, length):
        return "".join(self.random.choices("ACGT", k=length))

    def noisy(self, bases, rate=0.1, either_strand=True):
        out = []
        for base in bases:
            draw = self.random.random()
            out.append(base if draw >= rate else self.bases(int(draw * 3 / rate)))
        bases = "".join(out)
        if not either_strand:
            return bases
        return bases if self.random.random() < 0.5 else bases[::-1].translate(str.maketrans("ACGT", "TGCA"))

    def pieces(self, bases, count, shortest, longest):
        for _ in range(count):
            length = self.random.randint(shortest, longest)
            start = self.random.randrange(max(1, len(bases) - length))
            yield self.noisy(bases[start : start + length])

    def repeats(self):
        """Returns two sequences that consist mainly of diverged copies of eight repeats and of a 171-base satellite."""
        families = [self.bases(self.random.randint(200, 3000)) for _ in range(8)]
        satellite = self.bases(171)
        self.repetitive = []
        for copies in (260, 120):
            pieces = []
            for _ in range(copies):
                pieces += [self.bases(self.random.randint(50, 700)),
                           self.noisy(self.random.choice(families), self.random.uniform(0.02, 0.25))]
            pieces += [self.noisy(satellite, 0.02, either_strand=False) for _ in range(150)]
            self.repetitive.append("".join(pieces + [self.bases(300)]))
        return self.repetitive

    def of_repeats(self):
        for sequence in self.repetitive:
            yield from self.pieces(sequence, 60, 300, 12000)
            yield from self.pieces(sequence, 60, 150, 700)
            yield from self.pieces(sequence[-20000:], 15, 2000, 15000)

    def write(self, name, sequences):
        """Writes FASTQ if the name contains ".fastq", otherwise FASTA. A name ending in ".gz" gives two gzip members.
        Returns the path."""
        if ".fastq" in name:
            texts = [f"@{name}/{i} runid=0\n{sequence}\n+\n{'5' * len(sequence)}\n"
                     for i, sequence in enumerate(sequences)]
        else:
            texts = [f">{name}/{i}\n" + re.sub("(.{1,80})", r"\1\n", sequence) for i, sequence in enumerate(sequences)]
        path = self.folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        half = len(texts) // 2
        parts = ["".join(texts[:half]).encode(), "".join(texts[half:]).encode()]
        path.write_bytes(b"".join(map(gzip.compress, parts) if path.suffix == ".gz" else parts))
        return path


def made_sets(folder):
    """Writes the sets into the folder. Yields (title, reference, inputs) for each set; `inputs` lists read files or one
    folder."""
    make = Maker(folder)
    repeat = make.bases(4000)
    genome = make.bases(60000) + repeat + make.bases(30000) + make.noisy(repeat, 0.02) + make.bases(20000)
    reference = make.write("reference.fasta", [genome, make.bases(8000) + repeat, make.bases(700)])
    reads = list(make.pieces(genome, 300, 200, 8000))
    chimeras = ["".join(pair) for pair in zip(make.pieces(genome, 60, 500, 3000), make.pieces(genome, 60, 500, 3000))]
    strangers = [make.bases(make.random.randint(50, 3000)) for _ in range(40)]
    mixed = reads + chimeras + strangers

    fastq = make.write("mixed.fastq", mixed)
    yield "made: FASTQ", reference, [fastq]
    yield "made: FASTA", reference, [make.write("mixed.fasta", mixed)]
    yield "made: two gzip members", reference, [make.write("members.fastq.gz", mixed)]
    rna = [read.replace("T", "U") for read in mixed]
    yield "made: RNA letters", reference, [make.write("rna.fastq", rna)]
    short = ["", *(genome[at : at + length] for length in range(1, 51) for at in (7 * length, 50000 + length))]
    yield "made: reads of 0 to 50 bases", reference, [make.write("short.fastq", short)]
    tiny = make.write("tiny.fasta", [genome[5000:6000]])
    long = list(make.pieces(genome[:9000], 60, 4000, 8800))
    yield "made: reads longer than the reference", tiny, [make.write("long.fastq", long)]
    mega = make.bases(1300000)
    mega_reads = [make.noisy(mega[40000:1240000]), *make.pieces(mega, 5, 9000, 90000)]
    yield "made: 1.2 million bases", make.write("mega.fasta", [mega]), [make.write("mega_read.fastq", mega_reads)]
    letters = [*reads[:20], reads[20].replace("A", "N", 1), *reads[21:40]]
    yield "made: a read with an N", reference, [make.write("letters.fastq", letters)]
    for i, part in enumerate((reads[:100], reads[100:200], chimeras)):
        make.write(f"tree/{'sub/' * i}part{i}.fastq", part)
    yield "made: a folder", reference, [folder / "tree"]
    index = folder / "reference.mmi"
    subprocess.run(["minimap2", "-x", "map-ont", "-d", str(index), str(reference)], check=True, capture_output=True)
    yield "made: prebuilt index", index, [fastq]
    yield "made: repeats", make.write("repeats.fasta", make.repeats()), [make.write("repeat_reads.fastq", make.of_repeats())]
    contigs = [make.bases(make.random.randint(100, 900)) for _ in range(25000)]
    many = make.write("contigs.fasta", contigs)
    contig_reads = make.write("contig_reads.fastq", [make.noisy(contig) for contig in contigs[::100]])
    yield "made: 25 000 reference sequences", many, [contig_reads]
    # At these distances, a penalty may depend on whether the processor rounds between multiplication and addition.
    far = make.bases(120000)
    joined = [far[at : at + 6000] + far[at + 6000 + jump : at + 12000 + jump]
              for jump in (8912, 9978, 18341) for at in range(0, 60000, 6500)]
    yield "made: long joins", make.write("far.fasta", [far]), [make.write("joined.fastq", joined)]

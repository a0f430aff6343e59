"""Generates a human-like genome, and simulated reads of it or of a real sequence; for benchmarks/make-data.
Needs numpy."""

import itertools

import numpy

LINE = 80
BASES = numpy.frombuffer(b"ACGTN", dtype=numpy.uint8)
QUALITIES = numpy.frombuffer(b"#&),/258;>ADGJ", dtype=numpy.uint8)
ANY = 4  # The code of N.
# Lengths of the human chromosomes, in Mb.
CHROMOSOMES = [248, 242, 198, 190, 182, 171, 159, 145, 138, 134, 135, 133, 114, 107, 102, 90, 83, 80, 59, 64, 47, 51,
               156, 57]
FAMILIES = 800
SATELLITE_SHARE = 0.03
LEAST_SIZE = 1_000_000  # In smaller genomes, most reads are longer than half of the shortest chromosome.
MOST_ATTEMPTS = 1000  # After so many places with an N, a read gets half its length.


def noisy(random, sources, lengths, rate):
    """Returns concatenated copies of parts of a sequence, with errors at a fraction `rate` of the bases. `lengths`: the
    length of each copy. `sources`: the sequence, and for each copy its start and its direction (1, or -1 for the
    reverse strand). A copy that reaches the end of the sequence continues at the start. Half of the errors are
    substitutions, the other half are insertions and deletions of one base."""
    sequence, starts, directions = sources
    total = int(lengths.sum())
    draw = random.integers(0, 65536, total, dtype=numpy.uint16)
    step = numpy.ones(total, dtype=numpy.int64)
    step[draw < int(65536 * rate / 4)] = 0
    step[draw >= 65536 - int(65536 * rate / 4)] = 2
    walked = numpy.cumsum(step)
    firsts = numpy.cumsum(lengths) - lengths
    walked -= numpy.repeat(walked[firsts], lengths)
    signs = numpy.repeat(directions, lengths)
    at = numpy.repeat(starts, lengths) + signs * walked
    copies = sequence[at % len(sequence)]
    copies = numpy.where((signs < 0) & (copies < ANY), 3 - copies, copies).astype(numpy.uint8)
    # One in four random bases equals the old base, so a third more are drawn than should change.
    wrong = numpy.flatnonzero((draw < int(65536 * (rate / 4 + rate * 2 / 3))) & (copies < ANY))
    copies[wrong] = random.integers(0, 4, len(wrong), dtype=numpy.uint8)
    return copies


class Genome:
    """About `size` bases in 24 chromosomes with the proportions of the human ones. Half of the bases are copies of 800
    repeat families, 3 to 28 % diverged. In each chromosome, 3 % is a satellite: copies of a unit of 171 bases, 2 %
    diverged. Each chromosome also has tandem repeats of short units, and runs of N at the ends and inside."""

    def __init__(self, seed, size):
        self.random = numpy.random.Generator(numpy.random.PCG64(list(seed.encode())))
        self.satellite = self.bases(171)
        lengths = numpy.exp(self.random.uniform(numpy.log(200), numpy.log(7000), FAMILIES))
        families = [self.bases(int(length)) for length in lengths]
        # Older families come first, so that copies of younger families lie inside copies of older ones.
        ages = sorted(self.random.uniform(0.03, 0.28, FAMILIES), reverse=True)
        shares = self.random.exponential(1, FAMILIES)
        # Copies overlap: at this density, they cover half of the bases.
        shares *= numpy.log(2) / shares.sum()
        self.families = list(zip(families, ages, shares))
        unit = size / sum(CHROMOSOMES)
        self.satellites = []  # The range [begin, end) in each chromosome.
        self.chromosomes = [self.chromosome(int(share * unit)) for share in CHROMOSOMES]

    def bases(self, length):
        return self.random.integers(0, 4, length, dtype=numpy.uint8)

    def chromosome(self, length):
        random, chromosome = self.random, self.bases(length)
        for family, age, share in self.families:
            # A copy has between a third and all of its family's length, on average two thirds.
            count = random.poisson(length * share / (len(family) * 2 / 3))
            lengths = (len(family) * random.uniform(1 / 3, 1, count)).astype(numpy.int64)
            self.put(chromosome, lengths, lambda kept, family=family, age=age: noisy(
                random, (family, random.integers(0, len(family), len(kept)), random.choice([-1, 1], len(kept))),
                kept, age))
        for _ in range(length // 25000):
            repeats = self.bases(int(random.integers(1, 60)))
            self.put(chromosome, random.integers(60, 1000, 1), lambda kept, repeats=repeats: noisy(
                random, (repeats, numpy.zeros(1, numpy.int64), numpy.ones(1, numpy.int64)), kept, 0.03))
        width = int(length * SATELLITE_SHARE)
        begin = int(length * random.uniform(0.2, 0.6))
        copies = numpy.tile(self.satellite, width // 171 + 1)[:width]
        chromosome[begin : begin + width] = noisy(random, (copies, numpy.zeros(1, numpy.int64), numpy.ones(1, numpy.int64)),
                                                  numpy.array([width]), 0.02)
        self.satellites.append((begin, begin + width))
        end = max(length // 5000, 1)
        chromosome[:end] = chromosome[-end:] = ANY
        for _ in range(3):
            gap = int(random.uniform(0.65, 0.95) * length)
            chromosome[gap : gap + length // 1000] = ANY
        return chromosome

    def put(self, chromosome, lengths, make):
        """Overwrites bases at random positions with the copies that `make` returns for the lengths."""
        lengths = lengths[lengths < len(chromosome)]
        if len(lengths) > 0:
            places = (self.random.random(len(lengths)) * (len(chromosome) - lengths)).astype(numpy.int64)
            firsts = numpy.cumsum(lengths) - lengths
            at = numpy.arange(int(lengths.sum())) + numpy.repeat(places - firsts, lengths)
            chromosome[at] = make(lengths)

    def write(self, path):
        path.parent.mkdir(parents=True, exist_ok=True)
        with open(path, "wb") as file:
            for number, chromosome in enumerate(self.chromosomes):
                file.write(b">chr%d\n" % (number + 1))
                whole = len(chromosome) // LINE * LINE
                lines = numpy.full((whole // LINE, LINE + 1), ord("\n"), dtype=numpy.uint8)
                lines[:, :LINE] = BASES[chromosome[:whole]].reshape(-1, LINE)
                file.write(lines.tobytes() + BASES[chromosome[whole:]].tobytes() + b"\n")


class Reads:
    """Makes reads from both strands of sequences of base codes, with 8 % errors and without N."""

    def __init__(self, seed, sequences):
        self.random = numpy.random.Generator(numpy.random.PCG64(list(seed.encode())))
        self.sequences = sequences
        lengths = numpy.array([len(sequence) for sequence in sequences])
        self.shares = lengths / lengths.sum()

    def any_length(self):
        """Returns a random length with a median of 8000 bases."""
        return int(min(max(self.random.lognormal(numpy.log(8000), 0.6), 300), 200_000))

    def read(self, length, sequence=None, begin=None, end=None):
        """Returns a read of a random piece of a sequence. If `sequence` is given, the piece is from the sequence with that
        number, and begins between `begin` and `end`. If no such piece without N is found, the read is shorter."""
        random = self.random
        for attempt in itertools.count(1):
            length = length if attempt % MOST_ATTEMPTS else length // 2
            number = random.choice(len(self.sequences), p=self.shares) if sequence is None else sequence
            source = self.sequences[number]
            fits = min(length, len(source) // 2)
            last = len(source) - fits * 21 // 20 - 2
            first = int(random.integers(begin or 0, max(min(end or last, last), (begin or 0) + 1)))
            piece = source[first : first + fits * 21 // 20 + 2]
            if (piece < ANY).all():
                direction = random.choice([-1, 1], 1)
                start = numpy.array([0 if direction[0] > 0 else len(piece) - 1])
                return noisy(random, (piece, start, direction), numpy.array([fits]), 0.08)

    def of(self, bases):
        while bases > 0:
            yield (read := self.read(self.any_length()))
            bases -= len(read)

    def write(self, path, reads):
        path.parent.mkdir(parents=True, exist_ok=True)
        with open(path, "wb") as file:
            for number, read in enumerate(reads):
                quality = QUALITIES[self.random.integers(0, len(QUALITIES), len(read))].tobytes()
                file.write(b"@read%d runid=made\n%s\n+\n%s\n" % (number, BASES[read].tobytes(), quality))


def hard_reads(reads, satellites):
    """Returns reads that overlap `satellites` (sequence, begin, end), reads joined from two places, and very long
    reads."""
    hard = [reads.read(reads.any_length(), *satellite) for satellite in satellites for _ in range(4)]
    hard += [numpy.concatenate([reads.read(5000), reads.read(4000)]) for _ in range(100)]
    return hard + [reads.read(int(reads.random.integers(100_000, 250_000))) for _ in range(16)]


def write_reads(folder, sequences, satellites, bases):
    reads = Reads("reads", sequences)
    reads.write(folder / "reads" / "reads.fastq", reads.of(bases))
    reads.write(folder / "hard" / "reads.fastq", hard_reads(reads, satellites))


def write_made(folder, size, read_bases):
    """Writes a generated genome and simulated reads of it."""
    genome = Genome("human-like", size)
    genome.write(folder / "reference.fasta")
    satellites = [(number, *satellite) for number, satellite in enumerate(genome.satellites)]
    write_reads(folder, genome.chromosomes, satellites, read_bases)


def write_real(folder, fasta, read_bases):
    """Writes a real sequence, given as FASTA text, and simulated reads of it."""
    folder.mkdir(parents=True, exist_ok=True)
    (folder / "reference.fasta").write_bytes(fasta)
    letters = b"".join(fasta.upper().split(b"\n")[1:])
    codes = numpy.full(256, ANY, dtype=numpy.uint8)
    codes[BASES[:ANY]] = range(ANY)
    write_reads(folder, [codes[numpy.frombuffer(letters, dtype=numpy.uint8)]], [], read_bases)

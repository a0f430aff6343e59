#pragma once

/// Prepares the process before anything else runs: denormal numbers count as zero, closed standard streams
/// are replaced by /dev/null, and neither a reader that leaves standard output nor a file that reaches the size
/// limit ends the run.
void SetUpProcess();

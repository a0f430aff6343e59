#pragma once

/// Prepares the process before anything else runs: denormal numbers count as zero, closed standard streams
/// are replaced by /dev/null, and a reader that leaves standard output does not end the run.
void SetUpProcess();

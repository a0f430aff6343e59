#pragma once

/// Prepares the process before anything else runs: denormal numbers count as zero, /dev/null replaces closed standard
/// streams, and the run survives the end of a program that reads its output and a file that reaches the size limit.
void SetUpProcess();

#pragma once

/// Prepares the process before anything else runs: denormal numbers count as zero, and /dev/null replaces closed
/// standard streams. The run no longer ends when a program that reads its output ends, or when a file reaches the size
/// limit.
void SetUpProcess();

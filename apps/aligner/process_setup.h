#pragma once

/// Call first in `main`. Opens /dev/null in place of closed standard streams, and ends the process with status 1 if
/// that fails. After the call, denormal numbers count as zero, and a write to a closed pipe or beyond the file size
/// limit fails instead of ending the process.
void SetUpProcess();

#pragma once

/// Call first in `main`. From then on, denormal numbers count as zero, /dev/null replaces closed standard streams, and
/// a write to a closed pipe or beyond the file size limit fails instead of ending the process. Ends the process with
/// status 1 if /dev/null cannot be opened.
void SetUpProcess();

// What the user's and the system's wishes to end do to the process.
#pragma once

// From here on SIGINT, SIGTERM and SIGHUP end the process with the status 128 + signal, and without
// temporary files; those that whoever started it has it ignore stay ignored. A file that grows
// beyond its limit becomes an error of writing. To be called once, before the first thread starts.
void endCleanlyOnSignals();

// What signals do to the process.
#pragma once

namespace cli {

// From here on SIGINT, SIGTERM and SIGHUP end the process with the status 128 + signal and leave no
// temporary files; signals ignored so far stay ignored. A file that grows beyond its limit becomes
// an error of writing. To be called once, before the first thread starts.
void endCleanlyOnSignals();

}  // namespace cli

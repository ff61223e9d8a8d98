// The exit statuses of rxkcat: one per kind of outcome, so scripts can tell them apart.
#pragma once

namespace rxkcat {

enum ExitStatus : int {
    kExitOk = 0,              // everything asked for was done
    kExitFailure = 1,         // the library or the service failed; nothing or not all was done
    kExitUsage = 2,           // the command line was wrong
    kExitPartialFailure = 3   // the requests went through, some records were refused
    // and 128 + N when signal N (SIGINT 130, SIGTERM 143) stopped the run after its summary
};

}  // namespace rxkcat

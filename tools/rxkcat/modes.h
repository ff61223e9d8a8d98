// The modes of rxkcat; each returns the exit status of the run or throws a ToolError.
#pragma once

#include "exit_status.h"
#include "options.h"
#include "session.h"

namespace rxkcat {

ExitStatus runList(Session& session, const Options& options);
ExitStatus runProduce(Session& session, const Options& options);
ExitStatus runConsume(Session& session, const Options& options);
ExitStatus runGetRecord(Session& session, const Options& options);
ExitStatus runCreateStream(Session& session, const Options& options);
ExitStatus runProbe(Session& session, const Options& options);

}  // namespace rxkcat

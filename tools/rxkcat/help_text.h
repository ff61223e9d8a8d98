// The --help text: every mode with an example, every flag, the exit statuses.
#pragma once

namespace rxkcat {

const char* helpText();
const char* versionText();

}  // namespace rxkcat

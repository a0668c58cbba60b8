#pragma once
// Runs a built program as an ordinary user would, for tests of what it says without the rights it needs.
#include "support/ChildProcess.h"

#include <string>
#include <vector>

namespace toolstest {

// Runs `program` with `arguments` to its end as a user without privileges. As root it runs as nobody, without
// capabilities, and from a copy: the build tree may lie in a directory that nobody cannot enter (a clone in
// a private home), where starting the program itself would fail with 127 before it says anything. So
// `program` and the shared `libraries` it loads are copied into a fresh directory that every user can read,
// which is the copy's library path, and removed when the run ends. As another user, who built the tree and
// can reach it, `program` runs where it is.
//
// Returns the program's result; when the copy cannot be made, exit status -1 and the reason as the output.
testsupport::ChildProcess::Result runUnprivileged(const std::string& program,
                                                  const std::vector<std::string>& libraries,
                                                  const std::vector<std::string>& arguments);

} // namespace toolstest

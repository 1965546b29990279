#pragma once

/// The command `dump` of sessions: FILE SCOPE.
int runDump(const char* argument);

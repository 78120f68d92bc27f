#pragma once

/// One pass of the agent, from opening its log to closing it.
/// Answers the exit status: 0, or the result code of a runtime that could not be started.
int runAgent(int argc, char* argv[]);

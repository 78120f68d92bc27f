#pragma once

#include <cstdint>
#include <initializer_list>

#include "runtime/Code/ZRResult.h"
#include "runtime/Strings/ZRString.h"

/// @file
/// Tools that are started by a command line.

/// The command line that starts `tool` (a path and options, taken as they stand) with these arguments, each
/// in double quotes.
/// Fails: eBadParameter for an argument that holds a double quote, which no command line can carry.
ZRResult makeCommandLine(const char* tool, std::initializer_list<ZRString> arguments, ZRString& commandLine);

/// Runs a command (split at blanks, double quotes honoured) and waits for its end, at most
/// `limitMilliseconds`; a command that takes longer is killed. Fails: eNullPointer without a process manager;
/// the error of the start; eTimeout; eSomeError "Process exit code = %d" for an exit code other than 0;
/// ZRProcessError::eSignaled.
ZRResult runCommand(const ZRString& commandLine, std::uint32_t limitMilliseconds);

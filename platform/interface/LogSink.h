#pragma once

/// Writes one line to the platform's log. The only road by which the library logs.
/// @param level   2 debug, 3 information, 4 warning, 5 error, 6 critical
/// @param module  channel of the line, NUL-terminated, never null: "QARCommon", "QARCommonMsg" or "QarUtilsPerf"
/// @param format  printf format, never null; a newline in it is part of the line
/// Contract for a platform: the level is tested before the format is touched; a line is never cut, however long; the
/// calling thread's last error (Mox::Base::Error) stays as it was; nothing is thrown.
/// Threads: any. Does not wait for a slow disk.
void LogSinkWrite(int level, const char* module, const char* format, ...) __attribute__((format(printf, 3, 4)));

/// Whether lines reach the log.
#pragma once

/// On, unless a program turned it off that has a use for millions of calls and none for their
/// lines, as fuzzers do. A line that is turned away costs nothing and leaves no copy behind.
bool kx_LogIsOn();
void kx_SetLogOn(bool on);

#pragma once
// Console batch mode: writes a register file into a reader without any window, for production lines and
// scripts. Prints its steps as lines on standard output and returns the process's exit status.

// True when the command line asks for the console mode: it holds "/WriteFile:" or "/WriteDefault"
// (case-insensitive, anywhere in the command line) or one of the long options (--write-file, --write-default,
// --port, --dry-run, --read-to, --export-hex, --quiet, --help, --version). main() calls this before it
// creates any toolkit object, so the console mode needs no display.
bool IsConsoleCommandLine(int argc, char** argv);

// Runs the console mode to its end and returns the exit status for main() to return: 0 on success, else the
// result code of the run (1 to 6, or 255 for -1, the way the shell sees a negative status).
int RunConsoleMode(int argc, char** argv);

#pragma once
// One port of a production station, in a process of its own so that a slow, silent or faulty reader
// never holds up another port: it watches its port, writes the file into every reader that appears there
// (the console mode's job, with its steps and result codes), and tells the station what happened through
// messages on standard output (station_messages.h). A reader that stays is written once; the port is
// written again only after its reader went away (hang-up, removal, or no answer) and a reader appeared.
//
// Standard input is the station's: a line asks the worker to look at its port now (a device event), and
// its end means the station is gone, so the worker ends too (after the job under way, if any). SIGINT or
// SIGTERM ends a job under way as cancelled and then the worker.

#include "app/console_command_line.h"

// Runs until stopped; returns the process's exit status (0, or 255 when the window cannot be set up).
int RunStationWorker(const ConsoleRequest& request);

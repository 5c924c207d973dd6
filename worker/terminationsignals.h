#pragma once

// SIGTERM, SIGINT and SIGHUP (a logout, `kill`, Ctrl+C in a terminal) quit the program the normal way: the
// event loop ends as when the window is closed, so a device cycle or telemetry tick in progress finishes
// and everything done at quit (telling X-Plane to stop streaming, the device hand-over) still happens.
// Call once, after the application object exists. Does nothing where there are no such signals (Windows).
void quitOnTerminationSignals();

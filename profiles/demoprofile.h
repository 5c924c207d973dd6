#pragma once

#include <QString>

// The profile made for quillar-replay's demo flight ships inside the program. It is put into the profiles
// folder whenever no file of its name is there, so the demo switches it on for every user; a file of that
// name, the user's own edit of it, is never overwritten. Returns true when the file was written.
bool installDemoProfile(const QString &profilesFolder);

QString demoProfileFileName();

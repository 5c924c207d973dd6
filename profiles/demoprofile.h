#pragma once

#include <QString>

// The profile made for quillar-replay's demo flight ships inside the program. It is put into the profiles
// folder only for a user without profiles (the folder missing or holding no file): a folder someone already
// keeps profiles in is never changed, and a file of its name, the user's own edit of it, is never overwritten.
// Returns true when the file was written.
bool installDemoProfile(const QString &profilesFolder);

QString demoProfileFileName();

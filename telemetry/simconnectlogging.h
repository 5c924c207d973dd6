#pragma once

#include <QLoggingCategory>

// The MSFS source's connection to SimConnect: configuration problems, connections made and lost.
Q_DECLARE_LOGGING_CATEGORY(lcMsfs)

#include "telemetrysourcemsfs.h"

TelemetrySourceMSFS::TelemetrySourceMSFS(QObject *parent) : TelemetrySource(parent) {}

void TelemetrySourceMSFS::poll() {}

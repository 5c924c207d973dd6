#include "telemetrythread.h"

#include "simconnectseam.h"

#include "telemetrysourcecondor2.h"
#include "telemetrysourcedcs.h"
#include "telemetrysourcemsfs.h"
#include "telemetrysourceshturmovik.h"
#include "telemetrysourcewarthunder.h"
#include "telemetrysourcexplane.h"

#include <QTimer>

namespace {
constexpr int TickMs = 20;

TelemetryThread::Endpoints programEndpoints() {
    TelemetryThread::Endpoints endpoints;
    endpoints.xplane = XPlane::configuredEndpoint();
    return endpoints;
}
} // namespace

TelemetryThread::TelemetryThread(QObject *parent) : TelemetryThread(programEndpoints(), parent) {}

TelemetryThread::TelemetryThread(const Endpoints &endpoints, QObject *parent) : QObject(parent) {
    timer = new QTimer(this);
    timer->setTimerType(Qt::PreciseTimer);
    activeSource = Telemetry::TELEMETRY_SOURCE_NONE;
    for (TelemetrySource *&entry : sources)
        entry = nullptr;

    auto *msfs = endpoints.simConnect ? new TelemetrySourceMSFS(endpoints.simConnect(), this)
                                      : new TelemetrySourceMSFS(this);
    auto *dcs = new TelemetrySourceDCS(this, endpoints.dcsPort);
    auto *shturmovik = new TelemetrySourceShturmovik(this, endpoints.shturmovikPort);
    auto *warthunder = new TelemetrySourceWarthunder(this, endpoints.warthunderUrl);
    auto *condor2 = new TelemetrySourceCondor2(this, endpoints.condor2Port);
    auto *xplane = new TelemetrySourceXPlane(this, endpoints.xplane);
    sources[Telemetry::TELEMETRY_SOURCE_MSFS] = msfs;
    sources[Telemetry::TELEMETRY_SOURCE_DCS] = dcs;
    sources[Telemetry::TELEMETRY_SOURCE_IL2] = shturmovik;
    sources[Telemetry::TELEMETRY_SOURCE_WARTHUNDER] = warthunder;
    sources[Telemetry::TELEMETRY_SOURCE_CONDOR] = condor2;
    sources[Telemetry::TELEMETRY_SOURCE_XPLANE] = xplane;

    connect(msfs, &TelemetrySourceMSFS::telemetryChanged, this, &TelemetryThread::msfsTelemetryChanged,
            Qt::DirectConnection);
    connect(dcs, &TelemetrySourceDCS::telemetryChanged, this, &TelemetryThread::dcsTelemetryChanged,
            Qt::DirectConnection);
    connect(shturmovik, &TelemetrySourceShturmovik::telemetryChanged, this,
            &TelemetryThread::shturmovikTelemetryChanged, Qt::DirectConnection);
    connect(warthunder, &TelemetrySourceWarthunder::telemetryChanged, this,
            &TelemetryThread::warthunderTelemetryChanged, Qt::DirectConnection);
    connect(condor2, &TelemetrySourceCondor2::telemetryChanged, this, &TelemetryThread::condor2TelemetryChanged,
            Qt::DirectConnection);
    connect(xplane, &TelemetrySourceXPlane::telemetryChanged, this, &TelemetryThread::xplaneTelemetryChanged,
            Qt::DirectConnection);

    for (int index = Telemetry::TELEMETRY_SOURCE_MSFS; index < Telemetry::SourceCount; ++index)
        connect(sources[index], &TelemetrySource::landed, this, &TelemetryThread::landed);

    for (TelemetrySource *source : sources) {
        if (!source)
            continue;
        connect(source, &TelemetrySource::telemetryEnded, this, [this] {
            activeSource = Telemetry::TELEMETRY_SOURCE_NONE;
            emit telemetryEnded();
        });
        // Every declaration overwrites the active source, so when several simulators start in the same
        // tick the last one polled wins; the others stay active in their own eyes but are not polled.
        connect(source, &TelemetrySource::telemetrySourceChanged, this,
                [this](Telemetry::Source source, const QString &flightModule) {
                    activeSource = source;
                    emit telemetrySourceChanged(source, flightModule);
                });
    }

    connect(timer, &QTimer::timeout, this, &TelemetryThread::onTimeout);
}

TelemetrySource *TelemetryThread::source(int index) const {
    if (index < 0 || index >= Telemetry::SourceCount)
        return nullptr;
    return sources[index];
}

void TelemetryThread::start() {
    timer->start(TickMs);
}

void TelemetryThread::onTimeout() {
    if (activeSource != Telemetry::TELEMETRY_SOURCE_NONE) {
        // Source values outside the table (never produced by the sources) poll nothing.
        if (TelemetrySource *source = this->source(activeSource))
            source->poll();
        return;
    }
    for (int index = Telemetry::TELEMETRY_SOURCE_MSFS; index < Telemetry::SourceCount; ++index)
        sources[index]->poll();
}

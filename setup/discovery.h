#pragma once

#include "setuptypes.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <atomic>

namespace QuillarSetup {

struct Discovery {
    QList<Installation> installations; // in simulator order, then in the order found
    QStringList notes; // what could not be searched and why (a malformed libraryfolders.vdf…)
};

// Looks only under `home` (every path is checked after links are resolved): the Steam libraries with their
// Proton prefixes, ~/.wine, the Lutris prefixes under ~/Games and the X-Plane folders in the home folder.
Discovery discoverInstallations(const QString &home, Platform platform = Platform::Linux,
                                const std::atomic<bool> *cancelled = nullptr);

// Steam's appids for the games we look for.
namespace SteamApp {
constexpr int Dcs = 223750;
constexpr int Il2 = 307960;
constexpr int Msfs2020 = 1250410;
constexpr int Msfs2024 = 2537590;
constexpr int XPlane11 = 269950;
constexpr int XPlane12 = 2014780;
constexpr int WarThunder = 236390;
} // namespace SteamApp

} // namespace QuillarSetup

#pragma once

#include "fakehome.h"

#include <QByteArray>
#include <QString>

// The fake home most set-up tests start from: two Steam libraries (the second listed in libraryfolders.vdf),
// Proton prefixes for DCS and both MSFS, a plain Wine prefix with an open-beta DCS folder, a Lutris prefix
// with Condor 2, IL-2 with another tool's receiver, War Thunder and two X-Planes. Several files have CRLF
// ends.
namespace SetupHomes {

inline const QString Steam = QStringLiteral(".local/share/Steam");
inline const QString Library2 = QStringLiteral("SteamLibrary");
inline const QString SteamDcs = QStringLiteral(
    ".local/share/Steam/steamapps/compatdata/223750/pfx/drive_c/users/steamuser/Saved Games/DCS");
inline const QString WineDcs = QStringLiteral(".wine/drive_c/users/pilot/Saved Games/DCS.openbeta");
inline const QString Il2 =
    QStringLiteral("SteamLibrary/steamapps/common/IL-2 Sturmovik Battle of Stalingrad");
inline const QString Condor = QStringLiteral("Games/condor-2/drive_c/Program Files/Condor2");
inline const QString Msfs2020 = QStringLiteral("SteamLibrary/steamapps/compatdata/1250410/pfx/drive_c/users/"
                                               "steamuser/AppData/Roaming/Microsoft Flight Simulator");
inline const QString Msfs2024 = QStringLiteral(
    ".local/share/Steam/steamapps/compatdata/2537590/pfx/drive_c/users/steamuser/AppData/Roaming/"
    "Microsoft Flight Simulator 2024");
inline const QString XPlane12 = QStringLiteral("SteamLibrary/steamapps/common/X-Plane 12");
inline const QString XPlane11 = QStringLiteral("X-Plane 11");
inline const QString WarThunder = QStringLiteral(".local/share/Steam/steamapps/common/War Thunder");
inline const QString SimConnectCfg = QStringLiteral(".local/share/vortane-quillar/SimConnect.cfg");

inline const QByteArray ExportLine =
    "local lfs=require('lfs'); dofile(lfs.writedir()..'Scripts/VortaneQuillar.lua')";

inline const QByteArray OtherExports =
    "local tacviewlfs=require('lfs');dofile(tacviewlfs.writedir()..'Scripts/TacviewGameExport.lua')\r\n"
    "dofile(lfs.writedir()..[[Scripts\\DCS-BIOS\\BIOS.lua]])\r\n"
    "pcall(function() local "
    "l=require('lfs');dofile(l.writedir()..[[Mods\\Services\\DCS-SRS\\Scripts\\SRS.lua]]); "
    "end,nil)\r\n";

inline const QByteArray Startup = "[KEY = graphics]\n"
                                  "\tfullscreen = true\n"
                                  "[END]\n"
                                  "[KEY = telemetrydevice]\n"
                                  "\taddr = \"192.168.1.20\"\n"
                                  "\tdecimation = 2\n"
                                  "\tenable = true\n"
                                  "\tport = 4321\n"
                                  "[END]\n";

inline const QByteArray StartupSetUp = "[KEY = graphics]\n"
                                       "\tfullscreen = true\n"
                                       "[END]\n"
                                       "[KEY = telemetrydevice]\n"
                                       "\taddr = \"192.168.1.20\"\n"
                                       "\taddr1 = \"127.0.0.1:29777\"\n"
                                       "\tdecimation = 2\n"
                                       "\tenable = true\n"
                                       "\tport = 4321\n"
                                       "[END]\n";

inline const QByteArray UdpIni =
    "[General]\r\nEnabled=0\r\n\r\n[Connection]\r\nHost=127.0.0.1\r\nPort=55300\r\n\r\n"
    "[Misc]\r\nSendIntervalMs=50\r\n";
inline const QByteArray UdpIniSetUp =
    "[General]\r\nEnabled=1\r\n\r\n[Connection]\r\nHost=127.0.0.1\r\nPort=55278\r\n"
    "\r\n[Misc]\r\nSendIntervalMs=50\r\nExtendedData=1\r\n";

inline const QByteArray SimConnectXml = "<?xml version=\"1.0\" encoding=\"Windows-1252\"?>\r\n"
                                        "\r\n"
                                        "<SimBase.Document Type=\"SimConnect\" version=\"1,0\">\r\n"
                                        "    <Descr>SimConnect Server Configuration</Descr>\r\n"
                                        "    <Filename>SimConnect.xml</Filename>\r\n"
                                        "    <SimConnect.Comm>\r\n"
                                        "        <Descr>Static IP4 port</Descr>\r\n"
                                        "        <Protocol>IPv4</Protocol>\r\n"
                                        "        <Scope>global</Scope>\r\n"
                                        "        <Port>4500</Port>\r\n"
                                        "    </SimConnect.Comm>\r\n"
                                        "</SimBase.Document>\r\n";

inline QByteArray ourComm(const QByteArray &eol, int port = 29779) {
    return "    <SimConnect.Comm>" + eol + "        <Descr>Vortane Quillar</Descr>" + eol +
           "        <Disabled>False</Disabled>" + eol + "        <Protocol>IPv4</Protocol>" + eol +
           "        <Scope>local</Scope>" + eol + "        <Address>127.0.0.1</Address>" + eol +
           "        <Port>" + QByteArray::number(port) + "</Port>" + eol +
           "        <MaxClients>64</MaxClients>" + eol + "        <MaxRecvSize>41088</MaxRecvSize>" + eol +
           "    </SimConnect.Comm>" + eol;
}

inline QByteArray simConnectXmlSetUp() {
    QByteArray xml = SimConnectXml;
    const QByteArray end = "</SimBase.Document>\r\n";
    xml.insert(xml.size() - end.size(), ourComm("\r\n"));
    return xml;
}

inline QByteArray newSimConnectXml() {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<SimBase.Document Type=\"SimConnect\" version=\"1,0\">\n"
           "    <Descr>SimConnect Server Configuration</Descr>\n"
           "    <Filename>SimConnect.xml</Filename>\n" +
           ourComm("\n") + "</SimBase.Document>\n";
}

inline bool build(const FakeHome &home) {
    const QByteArray vdf =
        "\"libraryfolders\"\n{\n\t\"0\"\n\t{\n\t\t\"path\"\t\t\"" + home.filePath(Steam).toUtf8() +
        "\"\n\t\t\"label\"\t\t\"\"\n\t\t\"apps\"\n\t\t{\n\t\t\t\"223750\"\t\t\"1\"\n\t\t}\n\t}\n"
        "\t\"1\"\n\t{\n\t\t\"path\"\t\t\"" +
        home.filePath(Library2).toUtf8() +
        "\"\n\t}\n\t\"2\"\n\t{\n\t\t\"path\"\t\t\"/nonexistent-quillar-library\"\n\t}\n}\n";
    return home.write(Steam + QStringLiteral("/steamapps/libraryfolders.vdf"), vdf) &&
           home.link(QStringLiteral(".steam/steam"), QStringLiteral("../.local/share/Steam")) &&
           home.makeFolder(Library2 + QStringLiteral("/steamapps")) &&
           home.write(SteamDcs + QStringLiteral("/Scripts/Export.lua"), OtherExports) &&
           home.makeFolder(WineDcs + QStringLiteral("/Logs")) &&
           home.write(Il2 + QStringLiteral("/data/startup.cfg"), Startup) &&
           home.write(Condor + QStringLiteral("/Settings/UDP.ini"), UdpIni) &&
           home.write(Msfs2020 + QStringLiteral("/SimConnect.xml"), SimConnectXml) &&
           home.write(Msfs2024 + QStringLiteral("/UserCfg.opt"), "Version 1\n") &&
           home.makeFolder(XPlane12 + QStringLiteral("/Resources")) && home.makeFolder(XPlane11) &&
           home.makeFolder(WarThunder);
}

} // namespace SetupHomes

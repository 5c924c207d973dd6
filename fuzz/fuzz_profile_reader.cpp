// libFuzzer target: one profile file, read into a profile that carries over between inputs (as the editor's
// profile does between loads), then written and read again.
#include "profilereader.h"
#include "profilestore.h"
#include "profilewriter.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static EffectsProfile current;
    const QByteArray text(reinterpret_cast<const char *>(data), qsizetype(size));
    ProfileReader::readProfileDocument(current, text);
    ProfileStore::fileNameFor(current.metadata);
    ProfileStore::displayTextFor(current.metadata);
    for (const AxisEffectsSettings &axis : current.settings.axes)
        axis.airflowSpring.attenuation(0.5f);

    // A float beyond its range is written as null and read back as the default; from the second pass on,
    // reading what was written must give the same text again.
    EffectsProfile copy;
    ProfileReader::readProfileDocument(copy, ProfileWriter::profileDocument(current));
    const QByteArray settled = ProfileWriter::profileDocument(copy);
    EffectsProfile again;
    ProfileReader::readProfileDocument(again, settled);
    if (ProfileWriter::profileDocument(again) != settled)
        std::abort();
    return 0;
}

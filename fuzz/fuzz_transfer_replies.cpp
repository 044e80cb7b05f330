// Plays the instrument to the chunked pulls and the firmware update through
// Execute: list-style pulls (colour libraries, tools, palettes, loupe
// images), fetch-style pulls (a colour library, the instrument log, the
// screen bitmap, a clone into a file) and the firmware update's packet
// replies and digest poll ("system done?"). The first input byte chooses
// the job, the rest scripts the instrument's replies to it in order (see
// scripted_instrument.h); once the script is used up every further request
// of the job is answered as finished.
#include <QFile>
#include <cstddef>
#include <cstdint>

#include "scripted_instrument.h"

namespace {

struct Job {
    const char* line;
    const char* word;   // the first word of every command the job sends
    const char* finished;
};

const Job kJobs[] = {
    {"getlibrary", "colorlibrary", "COLORLIBRARY 0x00 |[]"},
    {"getlibraryjson;Spot colours", "colorlibrary", "COLORLIBRARY 0x00 |}"},
    {"gettoollist;spot", "tool", "TOOL 0x00 |[]"},
    {"getchromexpalettelist", "chromex", "CHROMEX 0x00 |[]"},
    {"digitalloupelist", "digitalloupe", "DIGITALLOUPE 0x00 |[]"},
    {"getlog", "log", "LOG 0x00 |"},
    {"screenbitmap", "screen", "SCREEN 0x00 |"},
    {"userprofileget;fuzz.clone", "clone", "CLONE 0x00 |"},
    {"systemupdate;fuzz.bin", "system", "SYSTEM 0x00"},
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static vireo2::fuzz::ScriptedInstrument instrument;
    static const bool imageWritten = [] {
        QFile image(QStringLiteral("fuzz.bin"));
        return image.open(QIODevice::WriteOnly) && image.write("VIREO2-FW 9.9.9\n") > 0;
    }();
    if (size < 1 || !imageWritten || !instrument.ready())
        return 0;
    const Job& job = kJobs[data[0] % (sizeof kJobs / sizeof kJobs[0])];
    // Pulls wait 25 to 200 ms between receives: a few replies are enough to
    // reach every branch.
    instrument.script(QByteArray(reinterpret_cast<const char*>(data + 1), int(size - 1)), {job.word}, 6,
                      job.finished);
    instrument.device->Execute(QString::fromLatin1(job.line));
    QFile::remove(QStringLiteral("fuzz.clone"));
    return 0;
}

// Plays the instrument to ExecuteBinary: the image pulls of the screen, the
// video frame and the digital loupe (capture commands, then "... receive !"
// and "... receive" while the instrument answers status 0x12 with chunks
// after "|"), and a raw message's reply. The first input byte chooses the
// mode and, through its high bits, the size of the caller's buffer (too
// small truncates); the rest scripts the replies in order (see
// scripted_instrument.h). The bytes placed are checked against the buffer.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "scripted_instrument.h"

namespace {

struct Mode {
    QByteArray message;
    const char* word;
    const char* finished;
};

const Mode kModes[] = {
    {"CaptureScreen", "screen", "SCREEN 0x00 |"},
    {"CaptureImage", "videoframe", "VIDEOFRAME 0x00 |"},
    {"digitalloupeget loupe1.jpg", "digitalloupe", "DIGITALLOUPE 0x00 |"},
    {QByteArray("colorlibrary send 0 ! |\0\1\2", 26), "colorlibrary", "COLORLIBRARY 0x00"},
};

const int kBufferSizes[] = {0, 1, 100, 1200, 65536};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static vireo2::fuzz::ScriptedInstrument instrument;
    if (size < 1 || !instrument.ready())
        return 0;
    const Mode& mode = kModes[data[0] % 4];
    const int bufferSize = kBufferSizes[(data[0] >> 2) % 5];
    instrument.script(QByteArray(reinterpret_cast<const char*>(data + 1), int(size - 1)), {mode.word}, 8,
                      mode.finished);
    // One byte beyond the buffer's end: the canary must survive.
    std::vector<unsigned char> buffer(size_t(bufferSize) + 1, 0xA5);
    const int placed = instrument.device->ExecuteBinary(reinterpret_cast<const unsigned char*>(mode.message.constData()),
                                                        mode.message.size(), 1000, buffer.data(), bufferSize);
    if (placed < 0 || placed > bufferSize || buffer[size_t(bufferSize)] != 0xA5)
        __builtin_trap();
    return 0;
}

// Feeds arbitrary bytes as a correction-profile file (.pro/.pr2) and reads
// what the store would send: the two block lengths inside the file must never
// lead a read outside it, and its date must convert.
#include <cstddef>
#include <cstdint>

#include "commands/profile_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char*>(data), int(size));
    const auto profile = vireo2::ProfileFile::parse(bytes);
    if (!profile)
        return 0;
    double sum = 0.0;
    for (const auto& condition : profile->conditions)
        for (const auto& array : condition)
            for (float value : array)
                sum += double(value);
    const QDateTime created = vireo2::ProfileFile::fromOleDate(profile->createdOleDate);
    return created.isValid() && sum == sum ? 0 : 0;
}

#include "api/text_result.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace vireo2 {

// The buffer only grows, so a caller's earlier pointer keeps pointing at the
// current text, as hosts written against a single result buffer expect.
const char* textResult(const QString& text)
{
    thread_local std::vector<char> buffer(4096);
    const QByteArray utf8 = text.toUtf8();
    const size_t needed = size_t(utf8.size()) + 1;
    if (needed > buffer.size())
        buffer.resize(std::max(needed, buffer.size() * 2));
    std::memcpy(buffer.data(), utf8.constData(), needed);
    return buffer.data();
}

} // namespace vireo2

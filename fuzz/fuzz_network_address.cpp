// Feeds arbitrary text as a configured address ("host[:port]"): the parser
// behind every TCP connect and the settings' check. A parsed port is never
// 0, and an address the parser accepts keeps its port when the connect
// path's default is added.
#include <cstddef>
#include <cstdint>

#include "fuzz_support.h"
#include "transport/network_address.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QString text = vireo2::fuzz::text(data, size);
    const auto address = vireo2::NetworkAddress::parse(text, 60001);
    if (address && (address->port == 0 || address->host.isEmpty()))
        __builtin_trap();
    if (address && vireo2::NetworkAddress::namesPort(text)) {
        const auto again = vireo2::NetworkAddress::parse(address->host + QLatin1Char(':') + QString::number(address->port), 1);
        if (!again || again->port != address->port)
            __builtin_trap();
    }
    return 0;
}

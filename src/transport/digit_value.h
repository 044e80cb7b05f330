#pragma once

namespace vireo2 {

// The value of a decimal or hexadecimal digit (either case), -1 for any
// other character.
constexpr int digitValue(char c) noexcept
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

// Whether `c` is a digit of numbers in `base` (2 to 16).
constexpr bool isDigitOf(char c, int base) noexcept
{
    return digitValue(c) >= 0 && digitValue(c) < base;
}

} // namespace vireo2

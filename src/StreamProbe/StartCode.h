// Finding start codes (0x000001): the only thing that is looked for inside a slice, and so the one
// loop that sees every byte of a recording. Portable vectors, no processor-specific code.

#ifndef LOCALSTORAGE_STREAMPROBE_STARTCODE_H
#define LOCALSTORAGE_STREAMPROBE_STARTCODE_H

#include <cstdint>

/// The first start code that lies whole in [pData, pEnd): a pointer to its first zero, or `pEnd`.
const std::uint8_t* FindStartCode(const std::uint8_t* pData, const std::uint8_t* pEnd);

/// Whether one lies whole in [pData, pEnd), which is not empty, or may begin at its end: faster
/// than FindStartCode for the few bytes of a packet.
bool TouchesStartCode(const std::uint8_t* pData, const std::uint8_t* pEnd);

#endif  // LOCALSTORAGE_STREAMPROBE_STARTCODE_H

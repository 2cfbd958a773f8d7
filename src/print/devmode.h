// Device-mode records: building one from a queue's defaults, reading and writing
// the public part of a record whose dmSize may differ from sizeof(DEVMODEW), the
// private bytes this library writes, and the job options a record stands for.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "print/platform/printing.h"
#include "plotcfg.h"
#include "ut_printdata.h"

namespace ut::devmode {

// dmDriverVersion of the records built here.
constexpr uint16_t kDriverVersion = 1;

// A record of dmSize + extra bytes (at least sizeof(DEVMODEW) held), zero-filled,
// with dmSize and dmDriverExtra set; bytes receives the size held.
DevModePtr allocate(uint16_t dmSize, uint16_t extra, size_t& bytes);
// True when dmSize is within the accepted bounds and dmSize + dmDriverExtra fits
// in bytes.
bool wellFormed(const DEVMODEW* dm, size_t bytes);
// The public fields a record holds: the first min(dmSize, sizeof(DEVMODEW)) bytes,
// the rest zero. Writing stores only that many bytes back, so the private bytes of
// a record with a smaller public part are never overwritten.
DEVMODEW readPublic(const DEVMODEW* dm);
void writePublic(DEVMODEW* dm, const DEVMODEW& pub);
const uint8_t* privateBytes(const DEVMODEW* dm);

// UTF-16 text fields of 32 units: the text, cut to 31 units (never inside a
// surrogate pair), zero-padded; and back, up to the first zero.
void setText(char16_t (&field)[32], const std::wstring& text);
std::wstring text(const char16_t (&field)[32]);

// A queue's default device mode: public part from its defaults, private bytes
// carrying its other options.
DevModePtr fromQueue(const platform::printing::QueueDetails& queue, size_t& bytes);
// Makes the paper fields agree with the queue's paper of that number (dimensions,
// form name), as a driver corrects a device mode. False when the queue has no
// paper of that number (nothing changed).
bool resolvePaper(DEVMODEW& pub, const platform::printing::QueueDetails& queue);

// The private bytes of this library: a signature, a format version and the
// options as length-prefixed UTF-8 names and values. Options that would make the
// bytes longer than a device mode can count are left out (dropped counts them).
std::vector<uint8_t> encodeOptions(const std::vector<std::pair<std::string, std::string>>& options, size_t* dropped);
// False for bytes this library did not write (no signature, or lengths that do
// not add up); options is then empty.
bool decodeOptions(const uint8_t* bytes, size_t size, std::vector<std::pair<std::string, std::string>>& options);

// The job options of a record: its public values, then the options of private
// bytes written here. queue (may be null) names the papers and sources of
// driver-defined numbers.
std::vector<std::pair<std::string, std::string>> jobOptions(const DEVMODEW* dm, size_t bytes,
                                                            const platform::printing::QueueDetails* queue);

// The printer look-ups of CPlotCfg3::read over the system printers (one object
// for the process), installed by registerPrintFactory.
PrinterLookup* systemPrinterLookup();

// The thread's last printing failure (see ut::lastPrinterError).
void setPrinterError(const platform::printing::Failure& why);
void clearPrinterError();

} // namespace ut::devmode

#pragma once

#include <QByteArrayView>
#include <QString>

#include <cstddef>
#include <cstdint>
#include <vector>

// Linking the process at start-up reads the head of every shared object: ELF headers,
// symbol, string, hash and relocation tables. Those pages stay mapped afterwards though they
// are hardly read again (several megabytes for a Qt application, a fifth of its resident
// set). release() unmaps them from the process; they stay in the page cache, and a late
// symbol lookup faults back in what it needs as a minor fault.
namespace LoaderPages {

struct Range {
    uintptr_t start = 0;
    uintptr_t end = 0;
    size_t residentKb = 0;
};

// The read-only, private, file-backed mappings at file offset 0 that hold no private
// (written) page, in the text of /proc/PID/smaps. Only these can be dropped without losing
// anything: a later access reads the file's pages again.
std::vector<Range> candidates(QByteArrayView smaps);

struct Released {
    int mappings = 0;
    size_t residentKb = 0; // resident before the release
};

// Drops the resident pages of this process's candidate mappings that are ELF objects.
// smapsPath: for tests; the default reads the process's own.
Released release(const QString& smapsPath = QStringLiteral("/proc/self/smaps"));

} // namespace LoaderPages

#include "platform/linux/LoaderPages.h"

#include <QFile>
#include <QString>

#include <gtest/gtest.h>

namespace {

QByteArray mapping(const char* header, int rssKb, int privateDirtyKb = 0, int anonymousKb = 0) {
    return QByteArray(header) + "\nSize:  64 kB\nRss:   " + QByteArray::number(rssKb) +
           " kB\nPrivate_Clean: 0 kB\nPrivate_Dirty: " + QByteArray::number(privateDirtyKb) +
           " kB\nAnonymous:  " + QByteArray::number(anonymousKb) +
           " kB\nSwap:  0 kB\nVmFlags: rd mr mw me\n";
}

// The resident kB of the given ranges in this process now.
size_t residentKb(const std::vector<LoaderPages::Range>& ranges) {
    QFile file("/proc/self/smaps");
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    const QByteArray smaps = file.readAll();
    size_t total = 0;
    for (const auto& now : LoaderPages::candidates(smaps))
        for (const auto& r : ranges)
            if (now.start == r.start)
                total += now.residentKb;
    return total;
}

} // namespace

TEST(LoaderPages, OnlyCleanReadOnlyHeadsOfFilesAreCandidates) {
    const QByteArray smaps =
        mapping("7f0000000000-7f0000010000 r--p 00000000 fe:00 11  /usr/lib/libone.so.1", 40) +
        // The same library's code, its read-only data and its written data.
        mapping("7f0000010000-7f0000020000 r-xp 00010000 fe:00 11  /usr/lib/libone.so.1", 64) +
        mapping("7f0000020000-7f0000030000 r--p 00020000 fe:00 11  /usr/lib/libone.so.1", 8) +
        mapping("7f0000030000-7f0000031000 rw-p 00030000 fe:00 11  /usr/lib/libone.so.1", 4, 4) +
        // A head somebody wrote to keeps its pages: dropping them would lose the writes.
        mapping("7f0000040000-7f0000050000 r--p 00000000 fe:00 12  /usr/lib/libtwo.so", 16, 4) +
        mapping("7f0000050000-7f0000060000 r--p 00000000 fe:00 13  /usr/lib/libthree.so", 16, 0,
                4) +
        // Nothing resident, shared mappings, anonymous memory and deleted files.
        mapping("7f0000060000-7f0000070000 r--p 00000000 fe:00 14  /usr/lib/libfour.so", 0) +
        mapping("7f0000070000-7f0000080000 r--s 00000000 fe:00 15  /dev/shm/cache", 16) +
        mapping("7f0000080000-7f0000090000 r--p 00000000 00:00 0 ", 16) +
        mapping("7f0000090000-7f00000a0000 r--p 00000000 00:00 0   [vvar]", 8) +
        mapping("7f00000a0000-7f00000b0000 r--p 00000000 fe:00 16  /tmp/old.so (deleted)", 8) +
        // A path with spaces is still a path; the last mapping needs no blank line after it.
        mapping("7f00000b0000-7f00000c0000 r--p 00000000 fe:00 17  /opt/My App/libfive.so", 12);
    const auto found = LoaderPages::candidates(smaps);
    ASSERT_EQ(found.size(), 2u);
    EXPECT_EQ(found[0].start, 0x7f0000000000u);
    EXPECT_EQ(found[0].end, 0x7f0000010000u);
    EXPECT_EQ(found[0].residentKb, 40u);
    EXPECT_EQ(found[1].start, 0x7f00000b0000u);

    // Damaged text gives nothing rather than a wrong range.
    EXPECT_TRUE(
        LoaderPages::candidates("7f00-zz r--p 00000000 fe:00 1 /lib/x.so\nRss: 4 kB\n").empty());
    EXPECT_TRUE(LoaderPages::candidates("Rss: 4 kB\n").empty());
}

TEST(LoaderPages, ReleasingThisProcessDropsPagesAndEverythingStillRuns) {
    QFile file("/proc/self/smaps");
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const auto before = LoaderPages::candidates(file.readAll());
    const size_t residentBefore = residentKb(before);
    ASSERT_GT(residentBefore, 0u);

    const LoaderPages::Released released = LoaderPages::release();
    EXPECT_GT(released.mappings, 0);
    EXPECT_GT(released.residentKb, 0u);
    // What the check itself reads back in (ELF headers, this test's own lookups) is a
    // small part of what was there.
    EXPECT_LT(residentKb(before), residentBefore / 2);

    // Code that needs the loader again (a symbol it has not looked up yet) still works.
    EXPECT_EQ(QString::number(1234567).toStdString(), "1234567");
    EXPECT_EQ(QString("a,b,c").split(',').size(), 3);
    // A missing file releases nothing.
    EXPECT_EQ(LoaderPages::release("/nonexistent/smaps").mappings, 0);
}

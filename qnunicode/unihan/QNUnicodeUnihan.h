#pragma once

// Unihan: the keys the library names, the reader's notifications and the table it fills. The
// database reads the Unihan files on first use of its Unihan accessors, or in the background
// when the host asks (QNUnicodeDatabase::readUnihanAsynchronously).

#include <string_view>

#include "qnunicode/unihan/QNUnicodeUnihanKeys.h"
#include "qnunicode/unihan/QNUnicodeUnihanTable.h"

// The notifications of the Unihan reader, posted to QNNotificationCenter::defaultCenter() on the
// host's main thread (through QNSetMainThreadDispatcher; without a dispatcher, on the reader's
// thread). Their names begin with the library's reverse-domain prefix, "org.qnunicode".
//
// Progress, at most once per 10000 entries and 0.05 seconds; its object is the database and its
// user info holds the five keys below.
inline constexpr std::u16string_view QNUnicodeReadingUnihanNotificationName =
    u"org.qnunicode.QNUnicode.readingUnihan";
// The end of a read, once the database's isReadingUnihan is false; no user info.
inline constexpr std::u16string_view QNUnicodeDidReadUnihanNotificationName =
    u"org.qnunicode.QNUnicode.didReadUnihan";

// The path of the file being read (text).
inline constexpr std::u16string_view QNUnicodeUnihanReadingFilenameKey = u"filename";
// Its index among the files, from 0 (integer).
inline constexpr std::u16string_view QNUnicodeUnihanReadingFileIndexKey = u"fileIndex";
// The number of files (integer).
inline constexpr std::u16string_view QNUnicodeUnihanReadingFileCountKey = u"fileCount";
// The fraction of this file read, 0 to 1 (real).
inline constexpr std::u16string_view QNUnicodeUnihanReadingFileProgressKey = u"fileProgress";
// The fraction of all files read, 0 to 1 (real).
inline constexpr std::u16string_view QNUnicodeUnihanReadingProgressKey = u"progress";

#pragma once

class QNUnicodeDatabase;
class QNUnicodeStringprepProcessor;

// The process's one nameprep processor, shared by every database. Internal to the library.
namespace qnunicode::detail {

// The shared processor, made on first use from the "nameprep" profile of the resource directory
// over `database` (NFKC, bidirectional check on) and kept; null, and tried again on the next
// call, while the profile cannot be read.
const QNUnicodeStringprepProcessor* sharedNameprepProcessor(QNUnicodeDatabase& database);

// Called as a database goes away: a shared processor made over it is dropped (and made again
// over the next database that needs one), so that it never reads through a database that is gone.
void forgetSharedNameprepProcessorOfDatabase(const QNUnicodeDatabase* database);

}  // namespace qnunicode::detail

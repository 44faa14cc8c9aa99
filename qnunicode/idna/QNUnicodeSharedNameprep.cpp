#include "qnunicode/idna/QNUnicodeSharedNameprep.h"

#include <atomic>
#include <memory>
#include <mutex>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/idna/QNUnicodeStringprepProcessor.h"
#include "qnunicode/util/QNFileManager.h"
#include "qnunicode/util/QNResourceDirectory.h"

namespace qnunicode::detail {

namespace {

struct SharedNameprep {
  std::mutex mutex;
  std::shared_ptr<QNUnicodeStringprepProcessor> processor;
  const QNUnicodeDatabase* database = nullptr;
  // The processor for the conversions' fast path, read without the lock.
  std::atomic<const QNUnicodeStringprepProcessor*> current{nullptr};
};

SharedNameprep& shared() {
  static SharedNameprep* nameprep = new SharedNameprep();  // lives as long as the process
  return *nameprep;
}

}  // namespace

const QNUnicodeStringprepProcessor* sharedNameprepProcessor(QNUnicodeDatabase& database) {
  SharedNameprep& nameprep = shared();
  if (const QNUnicodeStringprepProcessor* processor =
          nameprep.current.load(std::memory_order_acquire)) {
    return processor;
  }
  std::lock_guard<std::mutex> lock(nameprep.mutex);
  if (!nameprep.processor) {
    // The processor reads through the database without owning it; the database drops it as it
    // goes away.
    std::shared_ptr<QNUnicodeDatabase> unowned(std::shared_ptr<void>(), &database);
    nameprep.processor = QNUnicodeStringprepProcessor::processorWithStringprepDataDirectory(
        QNAdditions::stringByAppendingPathComponent(QNUnicodeResourceDirectory(), "nameprep"),
        std::move(unowned), true, true, true);
    if (!nameprep.processor) return nullptr;
    nameprep.database = &database;
    nameprep.current.store(nameprep.processor.get(), std::memory_order_release);
  }
  return nameprep.processor.get();
}

void forgetSharedNameprepProcessorOfDatabase(const QNUnicodeDatabase* database) {
  SharedNameprep& nameprep = shared();
  std::lock_guard<std::mutex> lock(nameprep.mutex);
  if (nameprep.database != database) return;
  nameprep.current.store(nullptr, std::memory_order_release);
  nameprep.processor.reset();
  nameprep.database = nullptr;
}

}  // namespace qnunicode::detail

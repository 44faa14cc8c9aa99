// The four normalization forms with their counts (decomposition replacements, reorderings,
// composition replacements), the decomposition alone, primary composites and the platform path.

#include <algorithm>
#include <climits>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/normalization/QNUnicodeNormalizationTables.h"

#if QNUNICODE_WITH_ICU
#include <unicode/normalizer2.h>
#include <unicode/unistr.h>
#endif

using qnunicode::detail::NormalizationCounts;
using qnunicode::detail::NormalizationTables;

namespace {

constexpr uint32_t kNoCount = 0xFFFFFFFF;

void storeCount(uint32_t* place, uint64_t count) {
  if (place) *place = static_cast<uint32_t>(count);
}

NormalizationTables::Form formFor(bool K, bool C) {
  return static_cast<NormalizationTables::Form>((K ? 1u : 0u) | (C ? 2u : 0u));
}

}  // namespace

NormalizationTables& QNUnicodeDatabase::normalizationTables(bool forComposition) {
  if (!_isDatabaseRead) readDatabase();
  NormalizationTables* tables;
  if (_isDatabaseRead) {
    if (!_normalizationTables) _normalizationTables = NormalizationTables::tablesForDatabase(*this);
    tables = _normalizationTables.get();
  } else {
    // Without records only the Hangul arithmetic decomposes and composes; the file is looked
    // for again on the next call.
    tables = &NormalizationTables::tablesWithoutRecords();
  }
  if (forComposition && !tables->isCompositionPrepared()) tables->prepareComposition(*this);
  return *tables;
}

UnicodeString QNUnicodeDatabase::normalizationFormK(bool K, bool C, const UnicodeString& forString,
                                                    uint32_t* decompositionReplacementCount,
                                                    uint32_t* decompositionReorderingCout,
                                                    uint32_t* compositionReplacementCount,
                                                    bool usingCF) {
  if (usingCF) {
    storeCount(decompositionReplacementCount, kNoCount);
    storeCount(decompositionReorderingCout, kNoCount);
    storeCount(compositionReplacementCount, kNoCount);
    return CFnormalizationFormK(K, C, forString);
  }
  NormalizationCounts counts;
  UnicodeString result;
  // The empty string consults no table.
  if (!forString.empty())
    normalizationTables(C).normalize(forString, formFor(K, C), result, counts);
  storeCount(decompositionReplacementCount, counts.decompositionReplacements);
  storeCount(decompositionReorderingCout, counts.reorderings);
  storeCount(compositionReplacementCount, counts.compositionReplacements);
  return result;
}

UnicodeString QNUnicodeDatabase::normalizationFormDForString(const UnicodeString& string) {
  return normalizationFormK(false, false, string);
}

UnicodeString QNUnicodeDatabase::normalizationFormCForString(const UnicodeString& string) {
  return normalizationFormK(false, true, string);
}

UnicodeString QNUnicodeDatabase::normalizationFormKDForString(const UnicodeString& string) {
  return normalizationFormK(true, false, string);
}

UnicodeString QNUnicodeDatabase::normalizationFormKCForString(const UnicodeString& string) {
  return normalizationFormK(true, true, string);
}

UnicodeString QNUnicodeDatabase::normalizationFormDForString(
    const UnicodeString& string, uint32_t* decompositionReplacementCount,
    uint32_t* decompositionReorderingCout) {
  return normalizationFormK(false, false, string, decompositionReplacementCount,
                            decompositionReorderingCout);
}

UnicodeString QNUnicodeDatabase::normalizationFormCForString(
    const UnicodeString& string, uint32_t* decompositionReplacementCount,
    uint32_t* decompositionReorderingCout, uint32_t* compositionReplacementCount) {
  return normalizationFormK(false, true, string, decompositionReplacementCount,
                            decompositionReorderingCout, compositionReplacementCount);
}

UnicodeString QNUnicodeDatabase::normalizationFormKDForString(
    const UnicodeString& string, uint32_t* decompositionReplacementCount,
    uint32_t* decompositionReorderingCout) {
  return normalizationFormK(true, false, string, decompositionReplacementCount,
                            decompositionReorderingCout);
}

UnicodeString QNUnicodeDatabase::normalizationFormKCForString(
    const UnicodeString& string, uint32_t* decompositionReplacementCount,
    uint32_t* decompositionReorderingCout, uint32_t* compositionReplacementCount) {
  return normalizationFormK(true, true, string, decompositionReplacementCount,
                            decompositionReorderingCout, compositionReplacementCount);
}

std::vector<uint32_t> QNUnicodeDatabase::decomposeString(const UnicodeString& string,
                                                         bool usingCompatibilityMappings,
                                                         uint32_t* replacementCount,
                                                         uint32_t* reorderingCount) {
  NormalizationCounts counts;
  std::vector<uint32_t> codepoints;
  if (!string.empty()) {
    normalizationTables(false).decompose(string, formFor(usingCompatibilityMappings, false),
                                         codepoints, counts);
  }
  storeCount(replacementCount, counts.decompositionReplacements);
  storeCount(reorderingCount, counts.reorderings);
  return codepoints;
}

std::optional<uint32_t> QNUnicodeDatabase::primaryCompositeForCodepointNumber(
    uint32_t codepoint, uint32_t secondCodepointNumber) {
  const QNUnicodeMappingDictionary& pairs = mappingDictionary();
  const auto seconds = pairs.find(codepoint);
  if (seconds == pairs.end()) return std::nullopt;
  const auto composite = seconds->second.find(secondCodepointNumber);
  if (composite == seconds->second.end()) return std::nullopt;
  const std::shared_ptr<const std::vector<uint32_t>> exclusions = compositionExclusions();
  if (std::find(exclusions->begin(), exclusions->end(), composite->second) != exclusions->end()) {
    return std::nullopt;
  }
  return composite->second;
}

UnicodeString QNUnicodeDatabase::CFnormalizationFormK(bool K, bool C,
                                                      const UnicodeString& forString) {
#if QNUNICODE_WITH_ICU
  if (forString.size() <= static_cast<size_t>(INT32_MAX)) {
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* normalizer = K ? (C ? icu::Normalizer2::getNFKCInstance(status)
                                                : icu::Normalizer2::getNFKDInstance(status))
                                           : (C ? icu::Normalizer2::getNFCInstance(status)
                                                : icu::Normalizer2::getNFDInstance(status));
    if (U_SUCCESS(status)) {
      const icu::UnicodeString text(false, forString.data(),
                                    static_cast<int32_t>(forString.size()));
      const icu::UnicodeString normalized = normalizer->normalize(text, status);
      if (U_SUCCESS(status)) return UnicodeString(normalized.getBuffer(), normalized.length());
    }
  }
#endif
  // Without the platform's normalizer, the library's own forms of the shared database serve;
  // with no database at all the text is answered as it stands.
  const std::shared_ptr<QNUnicodeDatabase> database = sharedDatabase();
  if (!database) return forString;
  return database->normalizationFormK(K, C, forString);
}

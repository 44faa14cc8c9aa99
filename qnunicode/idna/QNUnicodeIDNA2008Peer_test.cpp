// IDNA2008 ToASCII and ToUnicode against libidn2 (IDN2_NO_TR46: IDNA2008 without mapping) over
// the generated domains, lower-cased since IDNA2008 maps no case.
#include <gtest/gtest.h>
#include <idn2.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <map>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/idna/QNUnicodeDomainGenerator_test.h"
#include "qnunicode/idna/QNUnicodeDomainLabels.h"
#include "qnunicode/records/QNUnicodeData.h"
#include "qnunicode/strings/QNUnicodeCodepoints.h"
#include "qnunicode/testing/QNTestSupport.h"
#include "qnunicode/util/QNScanner.h"

namespace {

using qnunicode::testing::labelsOf;

using Result = std::optional<UnicodeString>;

Result peerToASCII(const UnicodeString& domain) {
  char* output = nullptr;
  const int rc = idn2_to_ascii_8z(qnunicode::toUTF8(domain).c_str(), &output, IDN2_NO_TR46);
  Result result;
  if (rc == IDN2_OK) result = qnunicode::fromUTF8(output);
  idn2_free(output);
  return result;
}

Result peerToUnicode(const UnicodeString& domain) {
  char* output = nullptr;
  const int rc = idn2_to_unicode_8z8z(qnunicode::toUTF8(domain).c_str(), &output, IDN2_NO_TR46);
  Result result;
  if (rc == IDN2_OK) result = qnunicode::fromUTF8(output);
  idn2_free(output);
  return result;
}

// The domain with every codepoint replaced by its lower-case mapping.
UnicodeString lowerCased(QNUnicodeDatabase& db, const UnicodeString& domain) {
  UnicodeString lower;
  for (int32_t offset = domain.empty() ? -1 : 0; offset >= 0;) {
    const uint32_t c = QNUnicode::codepointAtIndex(domain, 0, offset, &offset);
    const std::shared_ptr<const QNUnicodeData> record = db.unicodeDataForCodepoint(c);
    // The mapping field is one codepoint in hexadecimal, or empty.
    const UnicodeString mapping = record ? record->lowercaseMapping() : UnicodeString();
    uint32_t mapped = mapping.empty() ? c : 0;
    for (char16_t unit : mapping) mapped = mapped * 16 + qnunicode::hexDigitValue(unit);
    qnunicode::appendUTF16(lower, mapped);
  }
  return lower;
}

bool startsWith(const UnicodeString& text, std::u16string_view prefix) {
  return text.compare(0, prefix.size(), prefix) == 0;
}

// Why our label conversion may differ from the peer's on one label, by the message of ours.
std::string labelReason(QNUnicodeDatabase& db, const UnicodeString& label, bool toASCII,
                        const Result& peer) {
  UnicodeString error;
  const Result ours = toASCII ? db.IDNA2008SingleLabelToASCII(label, &error)
                              : db.IDNA2008SingleLabelToUnicode(label, &error);
  if (ours == peer) return "";
  if (error == u"Label is ASCII only but not an LDH-Label (Letters, Digits, Hyphen)." ||
      error == u"Not an LDH-Label.") {
    return "an ASCII label that is not LDH is refused (the peer passes ASCII unchecked)";
  }
  if (startsWith(error, u"Invalid U-Label. 4.2.3.1. of RFC 5891")) {
    return "the hyphen rules of registration are tested (the peer's lookup does not)";
  }
  if (toASCII && ours && QNUnicode_IDNA::isLDHLabel(label) && !peer) {
    return "an LDH label, A-labels included, passes unchecked (the peer checks A-labels)";
  }
  if (startsWith(error, u"Not an ASCII-Label.")) {
    return "ToUnicode refuses a label that is already a U-label (the peer passes it)";
  }
  if (startsWith(error, u"Invalid A-Label. Converting putative U-Label")) {
    return "ToUnicode converts the decoded label back and refuses it when that fails (the peer "
           "decodes without checking)";
  }
  if (startsWith(error, u"Not an A-Label.")) {
    return "ToUnicode refuses a reserved LDH label without the ACE prefix";
  }
  return "";
}

struct Comparison {
  std::map<std::string, std::vector<std::string>> differences;
  std::vector<std::string> unexplained;
  size_t accepted = 0, rejected = 0;

  void compare(QNUnicodeDatabase& db, const UnicodeString& domain, bool toASCII) {
    const Result ours =
        toASCII ? db.IDNAToASCII(1, domain, nullptr) : db.IDNAToUnicode(1, domain, nullptr);
    const Result peer = toASCII ? peerToASCII(domain) : peerToUnicode(domain);
    const std::string kind = toASCII ? "ToASCII: " : "ToUnicode: ";
    const std::string utf8 = qnunicode::toUTF8(domain);
    if (ours == peer) {
      ++(ours ? accepted : rejected);
      return;
    }
    // Label by label, each given to the peer alone.
    std::vector<std::string> reasons;
    for (const UnicodeString& label : labelsOf(domain)) {
      if (label.empty()) continue;
      const Result peerLabel = toASCII ? peerToASCII(label) : peerToUnicode(label);
      const std::string reason = labelReason(db, label, toASCII, peerLabel);
      if (!reason.empty() && std::find(reasons.begin(), reasons.end(), reason) == reasons.end()) {
        reasons.push_back(reason);
      }
    }
    if (reasons.empty()) reasons.push_back(domainReason(domain, toASCII));
    if (reasons.back().empty()) {
      unexplained.push_back(kind + utf8 + " ours: " + (ours ? qnunicode::toUTF8(*ours) : "-") +
                            " peer: " + (peer ? qnunicode::toUTF8(*peer) : "-"));
      return;
    }
    for (const std::string& reason : reasons) differences[kind + reason].push_back(utf8);
  }

  // Differences in how the domain is split and joined.
  static std::string domainReason(const UnicodeString& domain, bool toASCII) {
    for (const UnicodeString& label : QNUnicode_IDNA::domainNameLabels(domain)) {
      if (!label.empty() && qnunicode::isWhitespaceOrNewline(label[0])) {
        return "white space in front of a label is dropped";
      }
    }
    for (char16_t unit : domain) {
      if (unit != u'.' && qnunicode::isLabelSeparator(unit)) {
        return toASCII ? "the ideographic and full-width stops separate labels"
                       : "the ideographic and full-width stops separate labels and are kept";
      }
    }
    return "";
  }
};

TEST(QNUnicodeIDNA2008PeerTest, TwentyThousandDomainsAgainstThePeer) {
  const auto db = qnunicode::testing::realDatabase();
  qnunicode::testing::DomainGenerator generator(5891);
  Comparison toASCII, toUnicode;
  for (int k = 0; k < 20000; ++k) {
    const UnicodeString domain = lowerCased(*db, generator.domain());
    toASCII.compare(*db, domain, true);
    toUnicode.compare(*db, domain, false);
  }
  const std::string listPath = std::filesystem::path(qnunicode::testing::ucdDirectory())
                                   .parent_path()
                                   .append("idna2008-peer-differences.txt")
                                   .string();
  FILE* list = std::fopen(listPath.c_str(), "w");
  ASSERT_NE(list, nullptr) << listPath;
  for (const Comparison* comparison : {&toASCII, &toUnicode}) {
    for (const auto& [kind, domains] : comparison->differences) {
      std::printf("%s: %zu domains\n", kind.c_str(), domains.size());
      std::fprintf(list, "%s: %zu domains\n", kind.c_str(), domains.size());
      for (const std::string& domain : domains) std::fprintf(list, "  %s\n", domain.c_str());
    }
  }
  std::fclose(list);
  std::printf(
      "ToASCII: %zu accepted and %zu rejected alike; ToUnicode: %zu accepted and %zu rejected "
      "alike; the domains that differ are listed in %s\n",
      toASCII.accepted, toASCII.rejected, toUnicode.accepted, toUnicode.rejected, listPath.c_str());
  for (const std::string& line : toASCII.unexplained) ADD_FAILURE() << line;
  for (const std::string& line : toUnicode.unexplained) ADD_FAILURE() << line;
  EXPECT_GT(toASCII.accepted, 4000u);
  EXPECT_GT(toASCII.rejected, 4000u);
  EXPECT_GT(toUnicode.accepted + toUnicode.rejected, 2000u);
}

}  // namespace

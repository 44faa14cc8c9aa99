// IDNA2003 against libidn's ToASCII and ToUnicode (UseSTD3ASCIIRules, AllowUnassigned) over a
// generated list of domains: Latin, Cyrillic, Greek, CJK and Hangul labels and hostile ones.
#include <gtest/gtest.h>
#include <idn-free.h>
#include <idna.h>

#include <cstdio>
#include <filesystem>
#include <map>
#include <random>

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/idna/QNUnicodeDomainGenerator_test.h"
#include "qnunicode/idna/QNUnicodeDomainLabels.h"
#include "qnunicode/idna/QNUnicodePunycode.h"
#include "qnunicode/idna/QNUnicodeSharedNameprep.h"
#include "qnunicode/idna/QNUnicodeStringprepProcessor.h"
#include "qnunicode/strings/QNTextPrimitives.h"
#include "qnunicode/testing/QNTestSupport.h"
#include "qnunicode/util/QNResourceDirectory.h"
#include "qnunicode/util/QNScanner.h"

namespace {

using qnunicode::testing::labelsOf;

using qnunicode::testing::DomainGenerator;

constexpr int kPeerFlags = IDNA_USE_STD3_ASCII_RULES | IDNA_ALLOW_UNASSIGNED;

std::optional<std::string> peerToASCII(const std::string& domain) {
  char* output = nullptr;
  if (idna_to_ascii_8z(domain.c_str(), &output, kPeerFlags) != IDNA_SUCCESS) return std::nullopt;
  std::string result(output);
  idn_free(output);
  return result;
}

std::optional<std::string> peerToUnicode(const std::string& domain) {
  char* output = nullptr;
  if (idna_to_unicode_8z8z(domain.c_str(), &output, kPeerFlags) != IDNA_SUCCESS) {
    return std::nullopt;
  }
  std::string result(output);
  idn_free(output);
  return result;
}

// ---- The comparison ----------------------------------------------------------------------------

std::shared_ptr<QNUnicodeDatabase> database() {
  QNUnicodeSetResourceDirectory(qnunicode::testing::sourceDirectory() + "/resources");
  return qnunicode::testing::realDatabase();
}

UnicodeString withFullStops(UnicodeString text) {
  for (char16_t& unit : text) {
    if (qnunicode::isLabelSeparator(unit)) unit = u'.';
  }
  return text;
}

bool holdsNonASCII(const UnicodeString& text) {
  for (char16_t unit : text) {
    if (unit >= 0x80) return true;
  }
  return false;
}

// The described differences from the peer, found in a domain.
std::vector<std::string> describedDifferences(const UnicodeString& domain) {
  std::vector<std::string> reasons;
  const std::vector<UnicodeString> raw = QNUnicode_IDNA::domainNameLabels(domain);
  for (size_t k = 0; k < raw.size(); ++k) {
    if (raw[k].empty() && k + 1 < raw.size()) {
      reasons.push_back("an empty label is kept (the peer refuses it)");
      break;
    }
  }
  for (const UnicodeString& label : raw) {
    if (!label.empty() && qnunicode::isWhitespaceOrNewline(label[0])) {
      reasons.push_back("white space in front of a label is dropped");
      break;
    }
  }
  return reasons;
}

// The peer's conversion label by label, with the described differences applied: empty labels
// kept, white space in front of a label dropped and, for ToUnicode, a label the peer gives back
// unchanged answered in its nameprepped form (when it holds non-ASCII and nameprep takes it).
std::optional<UnicodeString> peerByLabel(const UnicodeString& domain, bool toASCII,
                                         const QNUnicodeStringprepProcessor& nameprep) {
  UnicodeString result;
  bool first = true;
  for (const UnicodeString& label : labelsOf(domain)) {
    if (!first) result += u'.';
    first = false;
    if (label.empty()) continue;
    const std::string utf8 = qnunicode::toUTF8(label);
    const std::optional<std::string> peer = toASCII ? peerToASCII(utf8) : peerToUnicode(utf8);
    if (!peer) return std::nullopt;
    const UnicodeString converted = qnunicode::fromUTF8(*peer);
    if (!toASCII && converted == label && holdsNonASCII(label)) {
      result += nameprep.stringprepString(label).value_or(label);
    } else {
      result += converted;
    }
  }
  return result;
}

// A codepoint unassigned in Unicode 3.2 (given or decoded) has a bidirectional category and a
// normalization in the loaded UCD, where the peer's Unicode 3.2 tables know nothing of it.
const std::string kNewerCodepoint =
    "a codepoint unassigned in Unicode 3.2 takes its properties from the loaded UCD";

std::optional<UnicodeString> fromPeer(const std::optional<std::string>& text) {
  if (!text) return std::nullopt;
  return qnunicode::fromUTF8(*text);
}

TEST(QNUnicodeIDNA2003PeerTest, TwentyThousandDomainsAgainstThePeer) {
  const auto db = database();
  QNSetLogSink([](std::string_view) {});
  const QNUnicodeStringprepProcessor* nameprep = qnunicode::detail::sharedNameprepProcessor(*db);
  ASSERT_NE(nameprep, nullptr);
  DomainGenerator generator(3490);
  std::map<std::string, std::vector<std::string>> differences;
  size_t asciiAccepted = 0, asciiRejected = 0, unicodeAlike = 0;
  std::vector<std::string> unexplained;
  for (int k = 0; k < 20000; ++k) {
    const UnicodeString domain = generator.domain();
    const std::string utf8 = qnunicode::toUTF8(domain);
    const std::vector<std::string> reasons = describedDifferences(domain);

    const std::optional<UnicodeString> ours = db->IDNAToASCII(0, domain, nullptr);
    const std::optional<UnicodeString> peer = fromPeer(peerToASCII(utf8));
    if (ours == peer) {
      ++(ours ? asciiAccepted : asciiRejected);
    } else if (!reasons.empty() && ours == peerByLabel(domain, true, *nameprep)) {
      for (const std::string& reason : reasons) differences["ToASCII: " + reason].push_back(utf8);
    } else if (nameprep->containsUnassignedCodepoints(domain)) {
      differences["ToASCII: " + kNewerCodepoint].push_back(utf8);
    } else {
      unexplained.push_back("ToASCII of " + utf8);
    }

    const std::optional<UnicodeString> oursUnicode = db->IDNAToUnicode(0, domain, nullptr);
    ASSERT_TRUE(oursUnicode);  // ToUnicode never fails
    const UnicodeString oursText = withFullStops(*oursUnicode);
    if (oursText != *oursUnicode) {
      differences["ToUnicode: the separators are kept as they were"].push_back(utf8);
    }
    const std::optional<UnicodeString> peerUnicode = fromPeer(peerToUnicode(utf8));
    if (oursText == peerUnicode) {
      ++unicodeAlike;
    } else if (oursText == peerByLabel(domain, false, *nameprep)) {
      differences["ToUnicode: a label comes back nameprepped"].push_back(utf8);
      for (const std::string& reason : reasons) differences["ToUnicode: " + reason].push_back(utf8);
    } else if (nameprep->containsUnassignedCodepoints(domain) ||
               (peerUnicode && nameprep->containsUnassignedCodepoints(*peerUnicode))) {
      differences["ToUnicode: " + kNewerCodepoint].push_back(utf8);
    } else {
      unexplained.push_back("ToUnicode of " + utf8 + " ours: " + qnunicode::toUTF8(oursText));
    }
  }
  QNSetLogSink({});
  // Every described difference, listed by domain in the build directory.
  const std::string listPath = std::filesystem::path(qnunicode::testing::ucdDirectory())
                                   .parent_path()
                                   .append("idna2003-peer-differences.txt")
                                   .string();
  FILE* list = std::fopen(listPath.c_str(), "w");
  ASSERT_NE(list, nullptr) << listPath;
  for (const auto& [kind, domains] : differences) {
    std::printf("%s: %zu domains\n", kind.c_str(), domains.size());
    std::fprintf(list, "%s: %zu domains\n", kind.c_str(), domains.size());
    for (const std::string& domain : domains) std::fprintf(list, "  %s\n", domain.c_str());
  }
  std::fclose(list);
  std::printf(
      "ToASCII: %zu accepted and %zu rejected alike; ToUnicode: %zu alike; the domains "
      "that differ are listed in %s\n",
      asciiAccepted, asciiRejected, unicodeAlike, listPath.c_str());
  for (const std::string& line : unexplained) ADD_FAILURE() << line;
  EXPECT_GT(asciiAccepted, 8000u);
  EXPECT_GT(asciiRejected, 2000u);
}

}  // namespace

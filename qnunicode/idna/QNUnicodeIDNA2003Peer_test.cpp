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
#include "qnunicode/idna/QNUnicodeDomainLabels.h"
#include "qnunicode/idna/QNUnicodePunycode.h"
#include "qnunicode/idna/QNUnicodeSharedNameprep.h"
#include "qnunicode/idna/QNUnicodeStringprepProcessor.h"
#include "qnunicode/strings/QNTextPrimitives.h"
#include "qnunicode/testing/QNTestSupport.h"
#include "qnunicode/util/QNResourceDirectory.h"
#include "qnunicode/util/QNScanner.h"

namespace {

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

// ---- The domains -------------------------------------------------------------------------------

class DomainGenerator {
 public:
  explicit DomainGenerator(uint32_t seed) : _random(seed) {}

  UnicodeString domain() {
    UnicodeString domain;
    if (pick(20) == 0) domain += separator();  // a leading separator
    const int labels = 1 + static_cast<int>(pick(4));
    for (int k = 0; k < labels; ++k) {
      if (k > 0) {
        domain += separator();
        if (pick(25) == 0) domain += separator();  // an empty label
      }
      domain += label();
    }
    if (pick(15) == 0) domain += u'.';  // the root
    return domain;
  }

 private:
  uint32_t pick(uint32_t n) { return _random() % n; }
  uint32_t between(uint32_t first, uint32_t last) { return first + pick(last - first + 1); }

  UnicodeString separator() {
    static const char16_t kSeparators[] = {u'.', u'.', u'.', u'\u3002', u'\uFF0E', u'\uFF61'};
    return UnicodeString(1, kSeparators[pick(6)]);
  }

  // A codepoint of one script's letters.
  uint32_t letter(uint32_t script) {
    switch (script) {
      case 0:
        return pick(4) == 0 ? between('A', 'Z') : between('a', 'z');
      case 1:
        return pick(3) == 0 ? between(0xC0, 0xD6) : between(0xDF, 0xFF);  // Latin-1
      case 2:
        return between(0x100, 0x17F);  // Latin Extended-A
      case 3:
        return between(0x410, 0x44F);  // Cyrillic
      case 4: {                        // Greek
        const uint32_t c = between(0x391, 0x3C9);
        return c == 0x3A2 ? 0x3C2 : c;
      }
      case 5:
        return between(0x4E00, 0x9FA5);  // CJK
      default:
        return between(0xAC00, 0xD7A3);  // Hangul
    }
  }

  UnicodeString scriptLabel() {
    const uint32_t script = pick(7);
    UnicodeString label;
    for (uint32_t k = between(1, 12); k > 0; --k) {
      const uint32_t kind = pick(12);
      if (kind == 0) {
        qnunicode::appendUTF16(label, between('0', '9'));
      } else if (kind == 1 && !label.empty()) {
        label += u'-';
      } else {
        qnunicode::appendUTF16(label, letter(kind == 2 ? 0 : script));
      }
    }
    return label;
  }

  UnicodeString hostileLabel() {
    UnicodeString label = scriptLabel();
    static const std::vector<UnicodeString> kInserts = {
        u"_",      u" ",      u"*",      u"@",      u"/",         u"\u00A0", u"\uE000",
        u"\u200B", u"\u00AD", u"\u2028", u"\uFFFD", u"\u0340",    u"\uFF21", u"\u2100",
        u"\u05D0", u"\u0627", u"1",      u"\u3000", u"\uFB01",    u"\u00DF", u"\u0130",
        u"\u2488", u"\u2024", u"\uFE52", u"\u0371", u"\U000E0001"};
    switch (pick(12)) {
      case 0:
        return UnicodeString(between(62, 65), u'a');  // around the length limit
      case 1: {                                       // non-ASCII near the limit
        UnicodeString longer;
        for (uint32_t k = between(20, 60); k > 0; --k) qnunicode::appendUTF16(longer, letter(1));
        return longer;
      }
      case 2: {  // a valid ACE label, sometimes upper-cased
        UnicodeString encoded =
            QNUnicode_IDNA::punycodeEncodedStringWithError(scriptLabel()).value_or(u"x");
        UnicodeString ace = UnicodeString(QNUnicodeACELabel) + encoded;
        if (pick(4) == 0) {
          for (char16_t& unit : ace) unit = qnunicode::asciiUppercase(unit);
        }
        return ace;
      }
      case 3:
        return u"xn--" + UnicodeString(1, u"a-!9z"[pick(5)]) + scriptLabel();  // bad
      case 4:
        return u"xn--" + label;
      case 5:
        return u"-" + label;
      case 6:
        return label + u"-";
      case 7: {  // right to left, mixed or not
        UnicodeString rtl;
        const uint32_t base = pick(2) ? 0x5D0 : 0x627;
        for (uint32_t k = between(1, 6); k > 0; --k) qnunicode::appendUTF16(rtl, base + pick(20));
        if (pick(2)) rtl.insert(pick(static_cast<uint32_t>(rtl.size()) + 1), pick(2) ? u"a" : u"1");
        return rtl;
      }
      default: {
        label.insert(pick(static_cast<uint32_t>(label.size()) + 1),
                     kInserts[pick(kInserts.size())]);
        return label;
      }
    }
  }

  UnicodeString label() { return pick(4) == 0 ? hostileLabel() : scriptLabel(); }

  std::mt19937 _random;
};

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

// The labels as the domain-level conversions take them: white space in front dropped.
std::vector<UnicodeString> labelsOf(const UnicodeString& domain) {
  std::vector<UnicodeString> labels = QNUnicode_IDNA::domainNameLabels(domain);
  for (UnicodeString& label : labels) {
    size_t first = 0;
    while (first < label.size() && qnunicode::isWhitespaceOrNewline(label[first])) ++first;
    label.erase(0, first);
  }
  return labels;
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

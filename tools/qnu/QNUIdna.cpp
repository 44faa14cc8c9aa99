#include <cstdio>
#include <filesystem>

#include "QNUArguments.h"
#include "QNUCommands.h"
#include "QNUOutput.h"
#include "qnunicode/util/QNResourceDirectory.h"

namespace qnu {

namespace {

// Without the nameprep profile every non-ASCII label would fail at step 2 for no visible reason.
void requireNameprepProfile() {
  const std::string profile = QNUnicodeResourceDirectory() + "/nameprep";
  std::error_code error;
  if (!std::filesystem::is_regular_file(profile + "/mapping.txt", error)) {
    throw UsageError("the nameprep profile is missing at '" + profile + "'");
  }
}

}  // namespace

int runIdna(Host& host, const IdnaOptions& options) {
  if (options.idna2003 && options.idna2008) {
    throw UsageError("choose one conversion: --2003 or --2008");
  }
  // IDNA2008 unless IDNA2003 is asked for.
  const bool idna2003 = options.idna2003;
  const std::vector<UnicodeString> domains = argumentsOrInputLines(options.domains);
  if (idna2003) requireNameprepProfile();
  QNUnicodeDatabase& database = host.database();
  int code = kExitSuccess;
  for (const UnicodeString& domain : domains) {
    UnicodeString error;
    bool unassigned = false;
    std::optional<UnicodeString> result;
    if (idna2003) {
      result = options.toUnicode ? database.IDNA2003ToUnicode(domain, &unassigned, &error)
                                 : database.IDNA2003ToASCII(domain, &unassigned, &error);
    } else {
      result = options.toUnicode ? database.IDNAToUnicode(1, domain, &error)
                                 : database.IDNAToASCII(1, domain, &error);
    }
    if (!result) code = kExitCheckFailed;
    if (host.json()) {
      Json line;
      line["input"] = jsonText(std::u16string_view(domain));
      line["output"] = jsonText(result);
      line["error"] = result ? Json() : jsonText(std::u16string_view(error));
      // Only nameprep reports unassigned codepoints.
      if (idna2003) line["containsUnassignedCodepoints"] = unassigned;
      writeOut(jsonLine(line));
    } else if (result) {
      writeOut(qnunicode::toUTF8(*result) + "\n");
    } else {
      writeOut("", true);
      std::fprintf(stderr, "qnu: %s: %s\n", qnunicode::toUTF8(domain).c_str(),
                   qnunicode::toUTF8(error).c_str());
    }
  }
  return code;
}

}  // namespace qnu

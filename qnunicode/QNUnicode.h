#pragma once

// Everything a host uses: the database and its records, the property tables and records it
// answers, the codepoint string operations and the support utilities.

#include "qnunicode/database/QNUnicodeDatabase.h"
#include "qnunicode/names/QNUnicodeNamesList.h"
#include "qnunicode/properties/QNUnicodeArabicShaping.h"
#include "qnunicode/properties/QNUnicodeBlockTable.h"
#include "qnunicode/properties/QNUnicodeCaseFolding.h"
#include "qnunicode/properties/QNUnicodeLineBreak.h"
#include "qnunicode/properties/QNUnicodePropertyMatching.h"
#include "qnunicode/properties/QNUnicodePropertyTable.h"
#include "qnunicode/properties/QNUnicodeSpecialCasing.h"
#include "qnunicode/records/QNUnicodeConcreteData.h"
#include "qnunicode/records/QNUnicodeData.h"
#include "qnunicode/records/QNUnicodeDefaultData.h"
#include "qnunicode/records/QNUnicodePointerData.h"
#include "qnunicode/strings/QNUnicodeCodepoints.h"
#include "qnunicode/strings/UnicodeString.h"
#include "qnunicode/util/CodepointSet.h"
#include "qnunicode/util/NotFound.h"
#include "qnunicode/util/QNDigest.h"
#include "qnunicode/util/QNExceptions.h"
#include "qnunicode/util/QNFileManager.h"
#include "qnunicode/util/QNInfoValue.h"
#include "qnunicode/util/QNLog.h"
#include "qnunicode/util/QNStringAdditions.h"
#include "qnunicode/util/QNUnicodePrefixTree.h"

#include "qnunicode/util/QNInfoValue.h"

#include <gtest/gtest.h>

#include <string>

#include "qnunicode/testing/QNTestSupport.h"

namespace {

using qnunicode::testing::ScratchDirectory;

std::string plist(std::string_view body) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n" +
         std::string(body) + "</dict>\n</plist>\n";
}

// A NUL byte inside a string of the information file (found by fuzzing: the plist library's
// copying accessor aborted the process on it) no longer stops the read: the string comes back
// with its text up to the NUL (what follows is the plist library's business) and the rest of the
// file is read.
TEST(QNInfoValueTest, StringsWithANulByteAreRead) {
  const ScratchDirectory directory;
  const std::string path = directory.write(
      "Info.plist", plist(std::string("<key>IndexMD5</key>\n<array><string>cf389\0ab</string>"
                                      "</array>\n<key>Name</key><string>x</string>\n",
                                      95)));
  const auto info = QNReadPropertyListFile(path);
  ASSERT_TRUE(info);
  const QNInfoValue::List* list = info->at(u"IndexMD5").list();
  ASSERT_TRUE(list && list->size() == 1);
  ASSERT_TRUE((*list)[0].string());
  EXPECT_TRUE((*list)[0].string()->starts_with(UnicodeString(u"cf389\0", 6)));
  EXPECT_EQ(*info->at(u"Name").string(), u"x");
}

// What is not a readable dictionary gives none.
TEST(QNInfoValueTest, UnreadableFilesGiveNone) {
  const ScratchDirectory directory;
  EXPECT_FALSE(QNReadPropertyListFile(directory.path() + "/missing.plist"));
  EXPECT_FALSE(QNReadPropertyListFile(directory.write("empty.plist", "")));
  EXPECT_FALSE(QNReadPropertyListFile(directory.write("list.plist", "<plist><array/></plist>")));
  EXPECT_FALSE(QNReadPropertyListFile(directory.write("junk.plist", "\x01\x02<dict")));
}

}  // namespace

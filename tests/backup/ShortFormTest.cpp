#include <gtest/gtest.h>

#include "backup/ShortForm.h"
#include "core/Text.h"

namespace ZelmoraTevra {
namespace {

TEST(ShortFormTest, OnlyNamesOfMoreThanEightUnitsAreShortened) {
  const struct {
    WideText path;
    WideText form;
  } cases[] = {
      {u"", u""},
      {u"\\", u""},
      {u"C:\\", u"C:"},
      {u"C:\\Temp", u"C:\\Temp"},
      {u"C:\\eightlet", u"C:\\eightlet"},
      {u"C:\\nineletts", u"C:\\NINELE~1"},
      {u"C:\\Documents and Settings\\me\\Local Settings\\Temp", u"C:\\DOCUME~1\\me\\LOCALS~1\\Temp"},
      {u"C:\\DOCUME~1\\me\\LOCALS~1\\Temp", u"C:\\DOCUME~1\\me\\LOCALS~1\\Temp"},
      {u"C:\\a b c d e f g", u"C:\\ABCDEF~1"},
      {u"C:\\a b c d ", u"C:\\a b c d "},
      {u"C:\\a        b", u"C:\\AB~1"},
      {u"C:\\         ", u"C:\\~1"},
      {u"C:\\long.extension", u"C:\\LONG.E~1"},
      {u"C:\\Temp\\", u"C:\\Temp"},
      {u"C:\\Temp\\\\", u"C:\\Temp"},
      {u"C:/Program Files/x", u"C:\\PROGRA~1\\x"},
      {u"/home/someone-else/tmp/", u"\\home\\SOMEON~1\\tmp"},
      {u"\\\\server\\collections", u"\\\\server\\COLLEC~1"},
      {u"Übergröße", u"ÜBERGR~1"},
      {u"größenwahn", u"GRÖßEN~1"},
      {u"àþ÷ÿzz more", u"ÀÞ÷ÿZZ~1"},
  };
  for (const auto& [path, form] : cases) EXPECT_EQ(shortForm(path), form) << toUtf8(path);
}

TEST(ShortFormTest, AShortNameWithAnotherNumberIsAnotherFolder) {
  EXPECT_NE(shortForm(u"C:\\LONGNA~2"), shortForm(u"C:\\longname two"));
}

}  // namespace
}  // namespace ZelmoraTevra

#include "core/Base64.h"
#include "tests/userdata/UserDataTest.h"

namespace ZelmoraTevra {
namespace {

std::string encoded(const std::string& name, const std::string& value) {
  return "<" + name + ">" + encodeBase64(value) + "</" + name + ">";
}

const std::string storage = encoded("StorageCardDriveLetter", "E:");

class ContactsCommandReaderTest : public UserDataTest {};

TEST_F(ContactsCommandReaderTest, ImportReadsListAndStorage) {
  ASSERT_TRUE(read(u"IMPORT_CONTACTS", storage + encoded("Contacts", "<contacts>\xC3\xA4</contacts>")));
  EXPECT_EQ(record.storageCardDriveLetter, u"E:");
  EXPECT_EQ(record.contacts, u"<contacts>\u00E4</contacts>");
  EXPECT_EQ(status().state, -100) << "a good command leaves no status";
}

TEST_F(ContactsCommandReaderTest, ImportNeedsListAndStorage) {
  for (const std::string& children :
       {storage, encoded("Contacts", "<contacts/>"), storage + encoded("Contacts", "")}) {
    EXPECT_FALSE(read(u"IMPORT_CONTACTS", children));
    expectError(u"1127", {u"Error on reading the IMPORT_CONTACTS parameters!"});
  }
}

TEST_F(ContactsCommandReaderTest, AListThatIsNoUtf8IsNone) {
  for (const char* bytes : {"<contacts>\xE4</contacts>", "\xED\xA0\x80", "\xFF\xFE"}) {
    EXPECT_FALSE(read(u"IMPORT_CONTACTS", storage + encoded("Contacts", bytes)));
    expectError(u"1127", {u"Error on reading the IMPORT_CONTACTS parameters!"});
  }
}

TEST_F(ContactsCommandReaderTest, GetNeedsTheStorageOnly) {
  EXPECT_TRUE(read(u"GET_CONTACTS", storage));
  EXPECT_FALSE(read(u"GET_CONTACTS", encoded("Contacts", "<contacts/>")));
  expectError(u"1127", {u"Error on reading the GET_CONTACTS parameters!"});
}

}  // namespace
}  // namespace ZelmoraTevra

#include "core/Base64.h"
#include "core/Globals.h"
#include "tests/jobs/ProgramTest.h"

namespace ZelmoraTevra {
namespace {

// The real program and the address book of a simulated device.
class ContactsJobTest : public ProgramTest {
 protected:
  ContactsJobTest() { job.write("flash/ZELMORA/version.xml", "x"); }

  static CommandDocument importOf(const std::string& list) {
    return CommandDocument("IMPORT_CONTACTS")
        .encoded("StorageCardDriveLetter", "E:")
        .encoded("Contacts", list);
  }
  static CommandDocument getContacts() {
    return CommandDocument("GET_CONTACTS").encoded("StorageCardDriveLetter", "E:");
  }
  static std::string contact(const std::string& name) {
    return "<contact><name>" + name + "</name></contact>";
  }
  static std::string line(const std::string& name) {
    return "-|" + name + "|-|-|-|-|-|-|-|-|-|-|-|-|-|-|-|-|-|-|-\n";
  }
  [[nodiscard]] std::string response() const { return job.read("tmp/ZELMORATevra_tmp/ud_TevraCLI.xml"); }

  const std::string file = "flash/ZELMORA/Contacts/contacts.txt";
  const std::string head = "\xEF\xBB\xBF[Tevra imported contacts]\n";
};

TEST_F(ContactsJobTest, WhatIsImportedIsGotBackAsTheFilesBytes) {
  const JobResult result = job.run(CommandDocument::sequenceOf(
      {importOf("<contacts>" + contact("A&amp;B | \xF0\x9F\x98\x80") + contact("O'Neill") + "</contacts>")
           .element(),
       getContacts().element()}));
  EXPECT_EQ(result.exitValue, 0);
  const std::string content = head + line("A&amp;B | \xF0\x9F\x98\x80") + line("O&#39;Neill");
  EXPECT_EQ(job.read(file), content);
  EXPECT_EQ(response(), "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<GetContactsResponse>\n    <contacts>" +
                            encodeBase64(content) +
                            "</contacts>\n    <utf8>true</utf8>\n</GetContactsResponse>\n");
}

TEST_F(ContactsJobTest, ADeviceWithoutContactsGivesAnEmptyRoot) {
  EXPECT_EQ(job.run(getContacts().text()).exitValue, 0);
  EXPECT_EQ(response(), "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<GetContactsResponse />\n");
}

TEST_F(ContactsJobTest, TenThousandContactsReachTheDevice) {
  std::string list = "<contacts>";
  std::string content = head;
  for (int number = 0; number < 10'000; ++number) {
    list += contact("Anna " + std::to_string(number));
    content += line("Anna " + std::to_string(number));
  }
  EXPECT_EQ(job.run(importOf(list + "</contacts>").text()).document(), success);
  EXPECT_TRUE(job.read(file) == content);
}

TEST_F(ContactsJobTest, ErrorsAreToldAndTheFileStays) {
  job.write(file, "old");
  EXPECT_EQ(job.run(importOf("<contacts>").text()).document(),
            terminalDocument(7, {"100", "Invalid contacts informations!", "E:"}, {{"exitCode", "1283"}}));
  EXPECT_EQ(job.run(importOf("").text()).document(),
            errorDocument(1127, "Error on reading the IMPORT_CONTACTS parameters!"));
  EXPECT_EQ(job.run(importOf("<contacts>\xE4</contacts>").text()).document(),
            errorDocument(1127, "Error on reading the IMPORT_CONTACTS parameters!"));
  EXPECT_EQ(job.run(CommandDocument("GET_CONTACTS").text()).document(),
            errorDocument(1127, "Error on reading the GET_CONTACTS parameters!"));
  job.flash.capacity = reserveBytes;
  EXPECT_EQ(job.run(importOf("<contacts>" + contact("Anna") + "</contacts>").text()).document(),
            errorDocument(1284, "The contacts file will not fit to device!",
                          {{"PATH", "E:"}, {"DRIVE", "E:"}, {"PATH_SIZE", "10.00"}, {"UNIT", "MB"}}));
  EXPECT_EQ(job.read(file), "old");
}

TEST_F(ContactsJobTest, AnEmptyListIsASuccessThatChangesNothing) {
  job.write(file, "old");
  EXPECT_EQ(job.run(importOf("<contacts/>").text()).document(), success);
  EXPECT_EQ(job.read(file), "old");
}

TEST_F(ContactsJobTest, AWriteProtectedDeviceIs1282) {
  job.flash.readOnly = true;
  const std::string document =
      terminalDocument(7, {"100", "Flash cannot be accessed. Was it ejected or is it write protected?", "E:"},
                       {{"exitCode", "1282"}});
  EXPECT_EQ(job.run(getContacts().text()).document(), document);
  EXPECT_EQ(job.run(importOf("<contacts/>").text()).document(), document);
}

TEST_F(ContactsJobTest, ADeviceWithoutItsFolderIs1285) {
  EXPECT_EQ(job.run(CommandDocument("IMPORT_CONTACTS")
                        .encoded("StorageCardDriveLetter", job.path("home"))
                        .encoded("Contacts", "<contacts>" + contact("Anna") + "</contacts>")
                        .text())
                .last.exitCode(),
            u"1282");
  job.write("home/other", "x");
  EXPECT_EQ(job.run(CommandDocument("IMPORT_CONTACTS")
                        .encoded("StorageCardDriveLetter", job.path("home"))
                        .encoded("Contacts", "<contacts>" + contact("Anna") + "</contacts>")
                        .text())
                .document(),
            errorDocument(1285, "The contacts file could not be created!"));
  EXPECT_EQ(job.tree("home"), (Tree{{"other", md5Of("x")}}));
}

}  // namespace
}  // namespace ZelmoraTevra

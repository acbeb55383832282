// The trove tool end to end: the built executable run on real files in a
// scratch directory, its output, exit status and the files it leaves.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "run_program.h"
#include "store_files.h"
#include "trove/version.h"

namespace {

using store_test::Outcome;
using store_test::readFile;
using store_test::runProgram;
using store_test::ScratchDirectory;
using store_test::writeFile;
namespace fs = std::filesystem;

bool programAvailable(const std::string& program) {
  ScratchDirectory scratch;
  return runProgram(program, {"--version"}, scratch).status == 0;
}

size_t lineCount(const std::string& text) {
  size_t lines = 0;
  for (char c : text) lines += c == '\n';
  return lines;
}

const char kSample[] =
    "<propertiesmap>\n"
    "    <key name=\"Settings\">\n"
    "        <key name=\"Window\">\n"
    "            <tDWORD name=\"Width\">800</tDWORD>\n"
    "            <tSTRING name=\"Title\">Main window</tSTRING>\n"
    "            <tSTRING name=\"Note\"></tSTRING>\n"
    "        </key>\n"
    "        <tBOOL name=\"Maximized\">1</tBOOL>\n"
    "        <tBINARY name=\"Key\">00FF10</tBINARY>\n"
    "        <tSTRING name=\"Lines\">one&#10;two</tSTRING>\n"
    "    </key>\n"
    "    <key name=\"Empty\"/>\n"
    "    <tQWORD name=\"Big\">18446744073709551615</tQWORD>\n"
    "</propertiesmap>";

class CliTest : public ::testing::Test {
 protected:
  Outcome trove(const std::vector<std::string>& args) {
    return runProgram(TROVE_CLI_PATH, args, dir_);
  }
  std::string file(const std::string& name) const { return dir_.file(name); }
  std::string store() const { return file("profiles.xml"); }
  void writeSample(const std::string& name = "profiles.xml") { writeFile(file(name), kSample); }
  std::set<std::string> entries() const { return dir_.entries(); }

  // Expects a failure with `status` and one line "trove: <file>: <operation>: ...".
  void expectFailure(const Outcome& run, int status, const std::string& file,
                     const std::string& operation, const std::string& fragment) {
    EXPECT_EQ(run.status, status) << run.err;
    EXPECT_EQ(lineCount(run.err), 1u) << run.err;
    EXPECT_EQ(run.err.rfind("trove: " + file + ": " + operation + ": ", 0), 0u) << run.err;
    EXPECT_NE(run.err.find(fragment), std::string::npos) << run.err;
    EXPECT_EQ(run.out, "");
  }

  ScratchDirectory dir_;
};

TEST_F(CliTest, SetCreatesTheStoreAndGetReadsEveryTypeBack) {
  ASSERT_EQ(trove({"set", "Settings/Window", "Width", "tDWORD", "800"}).status, 0);
  // A new store leaves no empty placeholder behind as a backup.
  EXPECT_EQ(entries(), (std::set<std::string>{"profiles.xml"}));
  ASSERT_EQ(trove({"set", "Settings/Window", "Title", "tSTRING", "Main window"}).status, 0);
  ASSERT_EQ(trove({"set", "Settings", "Maximized", "tBOOL", "true"}).status, 0);
  ASSERT_EQ(trove({"set", "Settings", "Key", "tBINARY", "00ff10"}).status, 0);
  ASSERT_EQ(trove({"set", "Settings", "Offset", "tINT", "--", "-5"}).status, 0);
  ASSERT_EQ(trove({"set", "/", "Top", "tSTRING", "at the root"}).status, 0);

  EXPECT_EQ(trove({"get", "Settings/Window", "Width"}).out, "800\n");
  EXPECT_EQ(trove({"get", "settings\\WINDOW", "title"}).out, "Main window\n");
  EXPECT_EQ(trove({"get", "Settings", "Maximized"}).out, "1\n");
  EXPECT_EQ(trove({"get", "Settings", "Key"}).out, "00FF10\n");
  EXPECT_EQ(trove({"get", "Settings", "Offset"}).out, "-5\n");
  EXPECT_EQ(trove({"get", "/", "Top"}).out, "at the root\n");

  const std::string text = readFile(store());
  EXPECT_NE(text.find("<tDWORD name=\"Width\">800</tDWORD>"), std::string::npos) << text;
  EXPECT_NE(text.find("<tBOOL name=\"Maximized\">1</tBOOL>"), std::string::npos) << text;
  EXPECT_NE(text.find("<tINT name=\"Offset\">-5</tINT>"), std::string::npos) << text;

  // Changing a value keeps its stored type and converts the new text to it.
  ASSERT_EQ(trove({"set", "Settings/Window", "Width", "tSTRING", "1024"}).status, 0);
  EXPECT_NE(readFile(store()).find("<tDWORD name=\"Width\">1024</tDWORD>"), std::string::npos);
  // The second save of profiles.xml keeps the previous file, as the module does.
  EXPECT_TRUE(entries().count("profiles.xml.bak2"));
}

TEST_F(CliTest, GetAsConvertsThroughTheTypesText) {
  writeSample();
  EXPECT_EQ(trove({"get", "Settings/Window", "Width", "--as", "tSTRING"}).out, "800\n");
  EXPECT_EQ(trove({"get", "Settings/Window", "Width", "--as", "tBYTE"}).status, 3);
  EXPECT_EQ(trove({"get", "Settings/Window", "Width", "--as", "tDOUBLE"}).out, "800.000000\n");
  EXPECT_EQ(trove({"get", "Settings", "Maximized", "--as", "tDWORD"}).out, "1\n");
  EXPECT_EQ(trove({"get", "Settings", "Key", "--as", "tQWORD"}).out, "65296\n");  // hex text
  // A decimal text beyond the range reads as the largest value.
  EXPECT_EQ(trove({"get", "/", "Big", "--as", "tLONGLONG"}).out, "9223372036854775807\n");

  const Outcome refused = trove({"get", "Settings/Window", "Title", "--as", "tDWORD"});
  expectFailure(refused, 3, store(), "get Settings/Window/Title", "cannot be read as tDWORD");
  expectFailure(trove({"get", "Settings", "Key", "--as", "tNOTHING"}), 2, store(),
                "get Settings/Key", "unknown type \"tNOTHING\"");
  expectFailure(trove({"get", "Settings", "Key", "--as", "tOBJECT"}), 2, store(),
                "get Settings/Key", "holds no values");
}

TEST_F(CliTest, TreeListsAlignedColumnsValuesFirstAndEscapesControls) {
  writeSample();
  const Outcome all = trove({"tree"});
  ASSERT_EQ(all.status, 0) << all.err;
  EXPECT_EQ(all.out,
            "Big  tQWORD  18446744073709551615\n"
            "Settings/\n"
            "  Maximized  tBOOL    1\n"
            "  Key        tBINARY  00FF10\n"
            "  Lines      tSTRING  one\\ntwo\n"
            "  Window/\n"
            "    Width  tDWORD   800\n"
            "    Title  tSTRING  Main window\n"
            "    Note   tSTRING\n"
            "Empty/\n");
  const Outcome window = trove({"tree", "settings/window"});
  EXPECT_EQ(window.out,
            "Width  tDWORD   800\n"
            "Title  tSTRING  Main window\n"
            "Note   tSTRING\n");
  EXPECT_EQ(trove({"tree", "Empty"}).out, "");
  // Reading never writes: no backup, no temporary file.
  EXPECT_EQ(readFile(store()), kSample);
  EXPECT_EQ(entries(), (std::set<std::string>{"profiles.xml"}));
}

TEST_F(CliTest, NotFoundExitsWithOneAndChangesNothing) {
  expectFailure(trove({"tree"}), 1, store(), "tree", "(0x800000c5)");
  expectFailure(trove({"get", "A", "b"}), 1, store(), "get A/b", "(0x800000c5)");
  expectFailure(trove({"delete", "A"}), 1, store(), "delete A", "(0x800000c5)");
  expectFailure(trove({"export"}), 1, store(), "export", "(0x800000c5)");
  expectFailure(trove({"check"}), 1, store(), "check", "(0x800000c5)");
  expectFailure(trove({"--store", "missing/dir/s.xml", "set", "a", "b", "tDWORD", "1"}), 1,
                file("missing/dir/s.xml"), "set a/b", "(0x800000c5)");
  EXPECT_TRUE(entries().empty());

  writeSample();
  expectFailure(trove({"get", "Settings", "Missing"}), 1, store(), "get Settings/Missing",
                "(0x8000d002)");
  expectFailure(trove({"get", "Nowhere", "Width"}), 1, store(), "get Nowhere/Width",
                "(0x8000d002)");
  expectFailure(trove({"tree", "Nowhere"}), 1, store(), "tree Nowhere", "(0x8000d002)");
  expectFailure(trove({"delete", "Settings/Nowhere"}), 1, store(), "delete Settings/Nowhere",
                "(0x8000d002)");
  expectFailure(trove({"delete", "Settings", "Missing"}), 1, store(), "delete Settings/Missing",
                "(0x8000d002)");
  expectFailure(trove({"export", "Nowhere", "--json"}), 1, store(), "export Nowhere",
                "(0x8000d002)");
  EXPECT_EQ(readFile(store()), kSample);
  EXPECT_EQ(entries(), (std::set<std::string>{"profiles.xml"}));
}

TEST_F(CliTest, UsageErrorsExitWithTwoAndCreateNothing) {
  for (const std::vector<std::string>& args :
       std::vector<std::vector<std::string>>{{},
                                             {"frobnicate"},
                                             {"--no-such-option", "tree"},
                                             {"get", "OnlyPath"},
                                             {"set", "a", "b", "tDWORD"},
                                             {"copy", "a"},
                                             {"--backup-mode", "7", "tree"},
                                             {"--trace", "loud", "tree"},
                                             {"--store", "", "tree"},
                                             {"import", ""},
                                             {"copy", "a", "--to", ""}}) {
    const Outcome run = trove(args);
    EXPECT_EQ(run.status, 2) << ::testing::PrintToString(args);
    EXPECT_EQ(lineCount(run.err), 1u) << run.err;
    EXPECT_EQ(run.err.rfind("trove: ", 0), 0u) << run.err;
  }
  expectFailure(trove({"set", "a", "b", "tNOTHING", "1"}), 2, store(), "set a/b",
                "unknown type \"tNOTHING\"");
  expectFailure(trove({"set", "a", "b", "tBYTE", "300"}), 2, store(), "set a/b",
                "\"300\" is not a tBYTE value");
  expectFailure(trove({"set", "a", "b", "tBOOL", "yes"}), 2, store(), "set a/b",
                "is not a tBOOL value");
  expectFailure(trove({"set", "a", "b", "tOBJECT", "1"}), 2, store(), "set a/b", "holds no values");
  EXPECT_TRUE(entries().empty());

  writeSample();
  expectFailure(trove({"delete", "/"}), 2, store(), "delete /", "root key cannot be deleted");
  EXPECT_EQ(readFile(store()), kSample);
}

TEST_F(CliTest, HelpDescribesTheToolAndEachCommand) {
  const Outcome help = trove({"--help"});
  EXPECT_EQ(help.status, 0);
  for (const char* word : {"tree", "get", "set", "delete", "export", "import", "copy", "check",
                           "--store", "--trace", "--read-only", "--backup-mode", "Exit status"}) {
    EXPECT_NE(help.out.find(word), std::string::npos) << word;
  }
  const Outcome set = trove({"set", "--help"});
  EXPECT_EQ(set.status, 0);
  EXPECT_NE(set.out.find("created"), std::string::npos) << set.out;
  EXPECT_NE(set.out.find("TYPE"), std::string::npos) << set.out;
  for (const char* command : {"tree", "get", "delete", "export", "import", "copy", "check"}) {
    const Outcome run = trove({command, "--help"});
    EXPECT_EQ(run.status, 0) << command;
    EXPECT_NE(run.out.find(command), std::string::npos) << run.out;
  }
  EXPECT_TRUE(entries().empty());
}

TEST_F(CliTest, DamagedStoreIsReportedByCheckAndLeftUntouched) {
  writeSample();
  EXPECT_EQ(trove({"check"}).out, store() + ": 3 keys, 7 values\n");
  ASSERT_EQ(trove({"set", "Settings/Window", "Height", "tDWORD", "600"}).status, 0);
  EXPECT_EQ(trove({"check"}).out, store() + ": 3 keys, 8 values\n");

  const std::string damaged =
      "<propertiesmap><key name=\"a\"><tDWORD name=\"x\">1</tDWORD></key>"
      "<key name=\"b\"><tDWORD name=\"y\">2</tDWORD>";  // cut short
  writeFile(file("damaged.xml"), damaged);
  const std::set<std::string> before = entries();
  for (const char* command : {"check", "tree", "export"}) {
    expectFailure(trove({"--store", "damaged.xml", command}), 3, file("damaged.xml"), command,
                  "(0x800000c0)");
  }
  expectFailure(trove({"--store", "damaged.xml", "set", "a", "x", "tDWORD", "5"}), 3,
                file("damaged.xml"), "set a/x", "(0x800000c0)");
  expectFailure(trove({"--store", "damaged.xml", "delete", "a"}), 3, file("damaged.xml"),
                "delete a", "(0x800000c0)");
  EXPECT_EQ(readFile(file("damaged.xml")), damaged);
  EXPECT_EQ(entries(), before);
}

TEST_F(CliTest, ReadOnlyRefusesEveryChange) {
  writeSample();
  expectFailure(trove({"--read-only", "set", "Settings/Window", "Width", "tDWORD", "1"}), 3,
                store(), "set Settings/Window/Width", "read-only (0x800000c1)");
  expectFailure(trove({"set", "Settings", "New", "tDWORD", "1", "--read-only"}), 3, store(),
                "set Settings/New", "(0x800000c1)");
  expectFailure(trove({"--read-only", "delete", "Settings/Window"}), 3, store(),
                "delete Settings/Window", "(0x800000c1)");
  expectFailure(trove({"--read-only", "delete", "Settings", "Key"}), 3, store(),
                "delete Settings/Key", "(0x800000c1)");
  writeFile(file("in.xml"), "<a x=\"1\"></a>");
  expectFailure(trove({"--read-only", "import", "in.xml"}), 3, store(), "import in.xml",
                "(0x800000c1)");
  writeSample("other.xml");
  expectFailure(trove({"--read-only", "copy", "Settings", "--to", "other.xml", "--into", "New"}), 3,
                file("other.xml"), "copy Settings", "(0x800000c1)");
  // Reading still works.
  EXPECT_EQ(trove({"--read-only", "get", "Settings/Window", "Width"}).out, "800\n");
  EXPECT_EQ(readFile(store()), kSample);
  EXPECT_EQ(readFile(file("other.xml")), kSample);
  EXPECT_EQ(entries(), (std::set<std::string>{"profiles.xml", "other.xml", "in.xml"}));
}

TEST_F(CliTest, DeleteRemovesAKeyTreeOrOneValue) {
  writeSample();
  ASSERT_EQ(trove({"delete", "Settings", "Maximized"}).status, 0);
  EXPECT_EQ(readFile(file("profiles.xml.bak2")), kSample);
  ASSERT_EQ(trove({"delete", "settings/window"}).status, 0);
  EXPECT_EQ(trove({"tree"}).out,
            "Big  tQWORD  18446744073709551615\n"
            "Settings/\n"
            "  Key    tBINARY  00FF10\n"
            "  Lines  tSTRING  one\\ntwo\n"
            "Empty/\n");
  EXPECT_EQ(trove({"get", "Settings/Window", "Width"}).status, 1);
}

TEST_F(CliTest, ExportWritesCanonicalStoreXmlThatImportReadsBack) {
  writeSample();
  const Outcome whole = trove({"export"});
  ASSERT_EQ(whole.status, 0) << whole.err;
  EXPECT_EQ(whole.err, "");
  EXPECT_NE(whole.out.find("<propertiesmap>"), std::string::npos);
  EXPECT_NE(whole.out.find("<tDWORD name=\"Width\">800</tDWORD>"), std::string::npos);
  EXPECT_EQ(whole.out.rfind("<propertiesmap>\r\n    <key name=\"Settings\">\r\n", 0), 0u)
      << whole.out;
  EXPECT_NE(whole.out.find("<tSTRING name=\"Lines\">one\ntwo</tSTRING>\r\n"), std::string::npos);

  const Outcome window = trove({"export", "Settings/Window"});
  ASSERT_EQ(window.status, 0);
  EXPECT_EQ(window.out.find("<key name=\"Window\">"), std::string::npos) << window.out;
  EXPECT_NE(window.out.find("<tSTRING name=\"Title\">Main window</tSTRING>"), std::string::npos);

  // The export of a key, imported into a key of another store, gives the same export.
  writeFile(file("window.xml"), window.out);
  ASSERT_EQ(trove({"--store", "copy.xml", "import", "window.xml", "--into", "A/B"}).status, 0);
  EXPECT_EQ(trove({"--store", "copy.xml", "export", "A/B"}).out, window.out);

  // An empty key still exports as a store document.
  const Outcome empty = trove({"export", "Empty"});
  ASSERT_EQ(empty.status, 0);
  EXPECT_NE(empty.out.find("propertiesmap"), std::string::npos) << empty.out;

  if (!programAvailable("xmllint")) {
    GTEST_SKIP() << "xmllint is not installed: the exports were not validated as XML";
  }
  for (const Outcome& run : {whole, window, empty}) {
    writeFile(file("export.xml"), run.out);
    const Outcome lint = runProgram("xmllint", {"--noout", "export.xml"}, dir_);
    EXPECT_EQ(lint.status, 0) << lint.err << run.out;
  }
}

TEST_F(CliTest, JsonExportIsValidAndKeepsTypesOrderAndRepeatedNames) {
  writeSample();
  // Bytes that are not UTF-8 still give valid JSON.
  writeFile(file("twins.xml"), "<list><item id=\"1\"/><item id=\"\xff\">text</item></list>");
  const Outcome json = trove({"export", "--json"});
  ASSERT_EQ(json.status, 0) << json.err;
  EXPECT_NE(json.out.find("\"type\": \"tDWORD\""), std::string::npos) << json.out;
  const Outcome twins = trove({"--store", "twins.xml", "export", "--json"});
  ASSERT_EQ(twins.status, 0) << twins.err;
  EXPECT_EQ(twins.err, "");  // the JSON form loses nothing

  if (!programAvailable("python3")) {
    GTEST_SKIP() << "python3 is not installed: the JSON was not validated";
  }
  writeFile(file("store.json"), json.out);
  writeFile(file("twins.json"), twins.out);
  EXPECT_EQ(runProgram("python3", {"-m", "json.tool", "store.json"}, dir_).status, 0);
  EXPECT_EQ(runProgram("python3", {"-m", "json.tool", "twins.json"}, dir_).status, 0);

  // The structure, read back by another JSON reader.
  const char* probe =
      "import json, sys\n"
      "d = json.load(open(sys.argv[1]))\n"
      "def show(k, depth):\n"
      "    for v in k['values']:\n"
      "        print(' ' * depth + v['name'] + '=' + v['type'] + ':' + ascii(v['value']))\n"
      "    for s in k['keys']:\n"
      "        print(' ' * depth + s['name'] + '/')\n"
      "        show(s, depth + 1)\n"
      "show(d, 0)\n";
  writeFile(file("probe.py"), probe);
  EXPECT_EQ(runProgram("python3", {"probe.py", "store.json"}, dir_).out,
            "Big=tQWORD:'18446744073709551615'\n"
            "Settings/\n"
            " Maximized=tBOOL:'1'\n"
            " Key=tBINARY:'00FF10'\n"
            " Lines=tSTRING:'one\\ntwo'\n"
            " Window/\n"
            "  Width=tDWORD:'800'\n"
            "  Title=tSTRING:'Main window'\n"
            "  Note=tSTRING:''\n"
            "Empty/\n");
  EXPECT_EQ(runProgram("python3", {"probe.py", "twins.json"}, dir_).out,
            "list/\n"
            " item/\n"
            "  id=tSTRING:'1'\n"
            " item/\n"
            "  id=tSTRING:'\\ufffd'\n"
            "  noname=tSTRING:'text'\n");
}

TEST_F(CliTest, ImportTurnsAnyXmlIntoKeysAndValues) {
  writeFile(file("config.xml"),
            "<?xml version=\"1.0\"?>\n"
            "<config version=\"2\">\n"
            "  <server host=\"example.org\" port=\"8080\">Main &amp; only</server>\n"
            "  <!-- comment -->\n"
            "  <paths><home>/srv</home></paths>\n"
            "</config>\n");
  writeSample();
  const Outcome run = trove({"import", "config.xml", "--into", "Settings/Imported"});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(trove({"tree", "Settings/Imported"}).out,
            "config/\n"
            "  version  tSTRING  2\n"
            "  server/\n"
            "    host    tSTRING  example.org\n"
            "    port    tSTRING  8080\n"
            "    noname  tSTRING  Main & only\n"
            "  paths/\n"
            "    home/\n"
            "      noname  tSTRING  /srv\n");
  // What was there stays.
  EXPECT_EQ(trove({"get", "Settings/Window", "Width"}).out, "800\n");
  EXPECT_EQ(readFile(file("config.xml")).find("propertiesmap"), std::string::npos);

  // Without --into the file lands at the root of a store created for it.
  ASSERT_EQ(trove({"--store", "fresh.xml", "import", "config.xml"}).status, 0);
  EXPECT_EQ(trove({"--store", "fresh.xml", "get", "config/paths/home", "noname"}).out, "/srv\n");
}

TEST_F(CliTest, ImportWarnsAboutRepeatedElementsAndRefusesBadFiles) {
  writeFile(file("list.xml"), "<list><item id=\"1\"/><item id=\"2\"/><item id=\"3\"/></list>");
  const Outcome run = trove({"--store", "s.xml", "import", "list.xml"});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(lineCount(run.err), 1u) << run.err;
  EXPECT_EQ(run.err.rfind("trove: warning: " + file("list.xml") + ": import: 2 keys, 2 values", 0),
            0u)
      << run.err;

  expectFailure(trove({"--store", "t.xml", "import", "absent.xml"}), 1, file("absent.xml"),
                "import", "(0x800000c5)");
  writeFile(file("broken.xml"), "<a><b></a>");
  expectFailure(trove({"--store", "t.xml", "import", "broken.xml"}), 3, file("broken.xml"),
                "import", "(0x800000c0)");
  EXPECT_FALSE(entries().count("t.xml"));
}

TEST_F(CliTest, CopyPutsAKeyTreeIntoAnotherFileAndLeavesTheSourceAlone) {
  writeSample();
  ASSERT_EQ(trove({"copy", "Settings/Window", "--to", "other.xml"}).status, 0);
  EXPECT_EQ(trove({"--store", "other.xml", "tree"}).out,
            "Settings/\n"
            "  Window/\n"
            "    Width  tDWORD   800\n"
            "    Title  tSTRING  Main window\n"
            "    Note   tSTRING\n");
  ASSERT_EQ(trove({"copy", "Settings", "--to", "other.xml", "--into", "Backup"}).status, 0);
  EXPECT_EQ(trove({"--store", "other.xml", "get", "Backup/Window", "Title"}).out, "Main window\n");
  EXPECT_EQ(trove({"--store", "other.xml", "get", "Backup", "Key"}).out, "00FF10\n");
  ASSERT_EQ(trove({"copy", "/", "--to", "all.xml"}).status, 0);
  EXPECT_EQ(trove({"--store", "all.xml", "export"}).out, trove({"export"}).out);

  // The source is only read, although the copy marks it changed.
  EXPECT_EQ(readFile(store()), kSample);
  EXPECT_EQ(entries(), (std::set<std::string>{"profiles.xml", "other.xml", "all.xml"}));

  expectFailure(trove({"copy", "Nowhere", "--to", "none.xml"}), 1, store(), "copy Nowhere",
                "(0x8000d002)");
  EXPECT_FALSE(entries().count("none.xml"));
}

TEST_F(CliTest, BackupModeAndTraceReachTheModule) {
  writeSample("data.xml");
  ASSERT_EQ(trove({"--store", "data.xml", "set", "a", "b", "tDWORD", "1"}).status, 0);
  EXPECT_FALSE(entries().count("data.xml.bak2"));  // mode 0 keeps nothing for other names

  ASSERT_EQ(
      trove({"--store", "data.xml", "--backup-mode", "2", "set", "a", "b", "tDWORD", "2"}).status,
      0);
  EXPECT_NE(readFile(file("data.xml.bak")).find("<tDWORD name=\"b\">1</tDWORD>"),
            std::string::npos);
  EXPECT_NE(readFile(file("data.xml.bak2")).find("<tDWORD name=\"b\">1</tDWORD>"),
            std::string::npos);
  EXPECT_NE(readFile(file("data.xml")).find("<tDWORD name=\"b\">2</tDWORD>"), std::string::npos);

  const Outcome quiet = trove({"--store", "data.xml", "get", "a", "b"});
  EXPECT_EQ(quiet.err, "");
  const Outcome traced = trove({"--store", "data.xml", "--trace", "600", "get", "a", "b"});
  EXPECT_EQ(traced.status, 0);
  EXPECT_EQ(traced.out, "2\n");
  EXPECT_NE(traced.err.find("Getting value"), std::string::npos) << traced.err;
  const Outcome errorsOnly = trove({"--store", "data.xml", "--trace", "300", "get", "a", "b"});
  EXPECT_EQ(errorsOnly.err, "");
}

// A libtrove with no module beside it: the tool says where it looked.
TEST_F(CliTest, VersionAndAMissingModule) {
  const Outcome version = trove({"--version"});
  EXPECT_EQ(version.status, 0);
  EXPECT_EQ(version.out, "trove " TROVE_VERSION_STRING "\n");

  const fs::path lib = dir_.path() / "lib";
  fs::create_directory(lib);
  for (const auto& entry : fs::directory_iterator(fs::path(TROVE_MODULE_PATH).parent_path())) {
    if (entry.path().filename().string().rfind("libtrove.so", 0) == 0) {
      fs::copy(entry.path(), lib / entry.path().filename(), fs::copy_options::copy_symlinks);
    }
  }
  if (!fs::exists(lib / "libtrove.so")) GTEST_SKIP() << "the tool links a static libtrove";
  const char* savedModulePath = std::getenv("TROVE_MODULE_PATH");
  const std::string restore = savedModulePath ? savedModulePath : "";
  ::unsetenv("TROVE_MODULE_PATH");
  ::setenv("LD_LIBRARY_PATH", lib.c_str(), 1);
  const Outcome missing = trove({"tree"});
  ::unsetenv("LD_LIBRARY_PATH");
  if (savedModulePath) ::setenv("TROVE_MODULE_PATH", restore.c_str(), 1);

  EXPECT_EQ(missing.status, 3);
  EXPECT_EQ(lineCount(missing.err), 1u) << missing.err;
  for (const std::string& part : {std::string("trove: cannot find the trove module"),
                                  (lib / "libtrove_registry.so").string(),
                                  (lib / "trove" / "libtrove_registry.so").string(),
                                  std::string("TROVE_MODULE_PATH is not set")}) {
    EXPECT_NE(missing.err.find(part), std::string::npos) << missing.err;
  }
  EXPECT_EQ(entries(), (std::set<std::string>{"lib"}));
}

}  // namespace

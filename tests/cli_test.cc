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
  Outcome trove(const std::vector<std::string>& args, const std::string& input = "",
                const std::vector<std::string>& environment = {}) {
    return runProgram(TROVE_CLI_PATH, args, dir_, input, environment);
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

  ASSERT_EQ(trove({"set", "Settings/Window", "Width", "tDWORD", "1024"}).status, 0);
  EXPECT_NE(readFile(store()).find("<tDWORD name=\"Width\">1024</tDWORD>"), std::string::npos);
  // The second save of profiles.xml keeps the previous file, as the module does.
  EXPECT_TRUE(entries().count("profiles.xml.bak2"));
}

TEST_F(CliTest, GetAsConvertsThroughTheTypesText) {
  writeSample();
  EXPECT_EQ(trove({"get", "Settings/Window", "Width", "--as", "tSTRING"}).out, "800\n");
  EXPECT_EQ(trove({"get", "Settings/Window", "Width", "--as", "tBYTE"}).status, 2);
  EXPECT_EQ(trove({"get", "Settings/Window", "Width", "--as", "tDOUBLE"}).out, "800.000000\n");
  EXPECT_EQ(trove({"get", "Settings", "Maximized", "--as", "tDWORD"}).out, "1\n");
  EXPECT_EQ(trove({"get", "Settings", "Key", "--as", "tQWORD"}).out, "65296\n");  // hex text
  // A decimal text beyond the range reads as the largest value.
  EXPECT_EQ(trove({"get", "/", "Big", "--as", "tLONGLONG"}).out, "9223372036854775807\n");

  const Outcome refused = trove({"get", "Settings/Window", "Title", "--as", "tDWORD"});
  expectFailure(refused, 2, store(), "get Settings/Window/Title", "cannot be read as tDWORD");
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
  expectFailure(trove({"--read-only", "delete", "-r", "Settings/Window"}), 3, store(),
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
  expectFailure(trove({"delete", "settings/window"}), 2, store(), "delete settings/window",
                "holds 0 keys, 3 values; use -r");
  ASSERT_EQ(trove({"delete", "settings/window", "-r"}).status, 0);
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
  for (const std::string& part :
       {std::string("trove: cannot find the trove module"), (lib / "libtrove_registry.so").string(),
        (lib / "trove" / "libtrove_registry.so").string(),
        std::string("TROVE_MODULE_PATH is not set")}) {
    EXPECT_NE(missing.err.find(part), std::string::npos) << missing.err;
  }
  EXPECT_EQ(entries(), (std::set<std::string>{"lib"}));
}

TEST_F(CliTest, SetTakesOnlyStrictTextsOfTheStoredType) {
  writeSample();
  struct Case {
    std::vector<std::string> args;
    int status;
    std::string stored;  // the element expected in the file, or a message fragment
  };
  for (const Case& c : std::vector<Case>{
           {{"Settings/Window", "Width", "tDWORD", "12abc"},
            2,
            "expected a whole number from 0 to 4294967295"},
           {{"Settings/Window", "Width", "tDWORD", "10e3"}, 2, "is not a tDWORD value"},
           {{"Settings/Window", "Width", "tDWORD", "99999999999"}, 2, "is not a tDWORD value"},
           {{"Settings/Window", "Width", "tDWORD", "--", "-1"}, 2, "is not a tDWORD value"},
           {{"Settings/Window", "Width", "tDWORD", "0x500"},
            0,
            "<tDWORD name=\"Width\">1280</tDWORD>"},
           {{"Settings/Window", "Width", "tDWORD", "1F", "--raw"},
            0,
            "<tDWORD name=\"Width\">31</tDWORD>"},
           {{"Settings/Window", "Width", "tSTRING", "wide"}, 2, "stored as tDWORD, not tSTRING"},
           {{"Settings", "Ratio", "tDOUBLE", "1,5"}, 2, "expected a decimal number"},
           {{"Settings", "Ratio", "tDOUBLE", "2.5"},
            0,
            "<tDOUBLE name=\"Ratio\">2.500000</tDOUBLE>"},
           {{"/Settings//Window", "Width", "tDWORD", "1"}, 2, "empty name at character 11"},
           {{"/Settings/Window/", "Width", "tDWORD", "7"}, 0, "<tDWORD name=\"Width\">7</tDWORD>"},
       }) {
    std::vector<std::string> args{"set"};
    args.insert(args.end(), c.args.begin(), c.args.end());
    const Outcome run = trove(args);
    EXPECT_EQ(run.status, c.status) << ::testing::PrintToString(args) << run.err;
    EXPECT_NE((c.status ? run.err : readFile(store())).find(c.stored), std::string::npos)
        << ::testing::PrintToString(args) << run.err;
  }
  // Only the key it names was touched.
  EXPECT_EQ(trove({"get", "/", "Big"}).out, "18446744073709551615\n");

  // --retype replaces the value; it then comes last among its key's values.
  ASSERT_EQ(trove({"set", "Settings/Window", "Width", "tSTRING", "wide", "--retype"}).status, 0);
  EXPECT_EQ(trove({"ls", "Settings/Window"}).out, "Title\nNote\nWidth\n");
  EXPECT_EQ(trove({"get", "Settings/Window", "Width"}).out, "wide\n");

  // A text the file keeps only in part is set, with a warning.
  const Outcome tiny = trove({"set", "Settings", "Tiny", "tDOUBLE", "1e-9"});
  EXPECT_EQ(tiny.status, 0);
  EXPECT_NE(
      tiny.err.find("warning: " + store() + ": set Settings/Tiny: the store keeps six decimals"),
      std::string::npos)
      << tiny.err;
  const Outcome emoji = trove({"set", "Settings", "Face", "tWSTRING", "\xF0\x9F\x98\x80"});
  EXPECT_EQ(emoji.status, 0);
  EXPECT_NE(emoji.err.find("Basic Multilingual Plane"), std::string::npos) << emoji.err;
}

TEST_F(CliTest, DeleteNeedsRecursiveAndMvMovesKeys) {
  writeSample();
  expectFailure(trove({"delete", "Settings"}), 2, store(), "delete Settings",
                "holds 1 key, 6 values; use -r (--recursive)");
  expectFailure(trove({"delete", "Application//Window", "-r"}), 2, store(),
                "delete Application//Window", "empty name");
  expectFailure(trove({"delete", "Settings/Window/Deeper/Still"}), 1, store(),
                "delete Settings/Window/Deeper/Still", "no key \"Deeper\" in Settings/Window");
  ASSERT_EQ(trove({"delete", "Empty"}).status, 0);  // an empty key needs no -r

  expectFailure(trove({"mv", "Settings", "Settings/Window/Inside"}), 2, store(),
                "mv Settings Settings/Window/Inside", "cannot move below itself");
  expectFailure(trove({"mv", "Settings/Window", "settings"}), 2, store(),
                "mv Settings/Window settings", "exists already");
  ASSERT_EQ(trove({"mv", "Settings/Window", "Moved/Here"}).status, 0);
  EXPECT_EQ(trove({"tree"}).out,
            "Big  tQWORD  18446744073709551615\n"
            "Settings/\n"
            "  Maximized  tBOOL    1\n"
            "  Key        tBINARY  00FF10\n"
            "  Lines      tSTRING  one\\ntwo\n"
            "Moved/\n"
            "  Here/\n"
            "    Width  tDWORD   800\n"
            "    Title  tSTRING  Main window\n"
            "    Note   tSTRING\n");
}

TEST_F(CliTest, ListingsLsListAndGetDefault) {
  writeSample();
  static const char kNulList[] =
      "Settings/Window\0Width\0tDWORD\0"
      "800\0Settings/Window\0Title\0tSTRING\0"
      "Main window\0Settings/Window\0Note\0tSTRING\0\0";
  struct Case {
    std::vector<std::string> args;
    int status;
    std::string out;
  };
  for (const Case& c : std::vector<Case>{
           {{"ls"}, 0, "Settings/\nEmpty/\nBig\n"},
           {{"ls", "/Settings/"}, 0, "Window/\nMaximized\nKey\nLines\n"},
           {{"list", "Settings"},
            0,
            "Settings\tMaximized\ttBOOL\t1\nSettings\tKey\ttBINARY\t00FF10\n"
            "Settings\tLines\ttSTRING\tone\\ntwo\nSettings/Window\tWidth\ttDWORD\t800\n"
            "Settings/Window\tTitle\ttSTRING\tMain window\nSettings/Window\tNote\ttSTRING\t\n"},
           {{"list", "Settings/Window", "-z"}, 0, std::string(kNulList, sizeof kNulList - 1)},
           {{"get", "Settings", "Missing", "--default", "fallback"}, 0, "fallback\n"},
           {{"get", "Nowhere", "Width", "--default", "0"}, 0, "0\n"},
           {{"--store", "absent.xml", "get", "a", "b", "--default", "x"}, 0, "x\n"},
           {{"get", "Settings", "Lines", "--default", "x"}, 0, "one\ntwo\n"},
           {{"ls", "Nowhere"}, 1, ""},
       }) {
    const Outcome run = trove(c.args);
    EXPECT_EQ(run.status, c.status) << ::testing::PrintToString(c.args) << run.err;
    EXPECT_EQ(run.out, c.out) << ::testing::PrintToString(c.args);
  }
}

TEST_F(CliTest, JsonImportIsTheInverseOfExportAndDashMeansStandardStreams) {
  // Repeated value names, every kind of text, and control characters.
  writeFile(store(),
            "<propertiesmap><key name=\"A\"><tSTRING name=\"x\">1</tSTRING>"
            "<tSTRING name=\"x\">2</tSTRING><tBINARY name=\"b\">00FF</tBINARY>"
            "<tDOUBLE name=\"d\">0.500000</tDOUBLE><tSTRING name=\"t\">a&#9;b&lt;&amp;</tSTRING>"
            "</key><key name=\"Empty\"/><tINT name=\"n\">-5</tINT></propertiesmap>");
  const Outcome json = trove({"export", "--json"});
  ASSERT_EQ(json.status, 0) << json.err;
  writeFile(file("store.json"), json.out);
  const Outcome fresh = trove({"--store", "copy.xml", "import", "--json", "store.json"});
  EXPECT_EQ(fresh.status, 0) << fresh.err;
  EXPECT_EQ(fresh.err, "");
  EXPECT_EQ(trove({"--store", "copy.xml", "export", "--json"}).out, json.out);

  // Into a key of an existing store the copy merges repeated names, and says so.
  const Outcome into =
      trove({"--store", "copy.xml", "import", "--json", "-", "--into", "B"}, json.out);
  EXPECT_EQ(into.status, 0);
  EXPECT_NE(into.err.find("1 value not copied"), std::string::npos) << into.err;
  EXPECT_EQ(trove({"--store", "copy.xml", "get", "B/A", "b"}).out, "00FF\n");

  expectFailure(
      trove({"--store", "bad.xml", "import", "--json", "-"}, "{\"keys\": [{\"name\": 1}]}"), 2,
      "(standard input)", "import", "keys[0]: \"name\" must be a string");
  expectFailure(trove({"--store", "bad.xml", "import", "--json", "-"},
                      "{\"values\": [{\"name\": "
                      "\"v\", \"type\": \"tDWORD\", \"value\": \"1\"}], oops"),
                2, "(standard input)", "import", "not JSON");
  EXPECT_FALSE(entries().count("bad.xml"));

  // "-" as the store: read from standard input, a changed store written to standard output.
  const Outcome piped = trove({"--store", "-", "set", "A", "y", "tDWORD", "3"}, readFile(store()));
  ASSERT_EQ(piped.status, 0) << piped.err;
  EXPECT_NE(piped.out.find("<tDWORD name=\"y\">3</tDWORD>"), std::string::npos) << piped.out;
  EXPECT_EQ(trove({"--store", "-", "get", "A", "y"}, piped.out).out, "3\n");
  expectFailure(
      trove({"--store", "-", "check"}, "<propertiesmap>\n  <key name=\"a\">\n</propertiesmap>"), 3,
      "(standard input)", "check", "line 3, column 3: ");
}

TEST_F(CliTest, DiffAndFindCompareAndSearchStores) {
  writeSample();
  ASSERT_EQ(trove({"set", "Settings/Window", "Width", "tDWORD", "1024"}).status, 0);
  ASSERT_EQ(trove({"delete", "Settings", "Key"}).status, 0);
  ASSERT_EQ(trove({"set", "New", "Flag", "tBOOL", "true"}).status, 0);
  writeSample("old.xml");
  struct Case {
    std::vector<std::string> args;
    std::string out;
  };
  for (const Case& c : std::vector<Case>{
           {{"diff", "old.xml"},
            "- Settings\tKey\ttBINARY\t00FF10\n"
            "- Settings/Window\tWidth\ttDWORD\t800\n+ Settings/Window\tWidth\ttDWORD\t1024\n"
            "+ New/\n+ New\tFlag\ttBOOL\t1\n"},
           {{"diff", "old.xml", "--key", "settings/window"},
            "- settings/window\tWidth\ttDWORD\t800\n+ settings/window\tWidth\ttDWORD\t1024\n"},
           {{"diff"}, "+ New/\n+ New\tFlag\ttBOOL\t1\n"},  // against the backup
           {{"--store", "old.xml", "diff", "old.xml"}, ""},
           {{"find", "^w"}, "Settings/Window/\nSettings/Window\tWidth\ttDWORD\t1024\n"},
           {{"find", "window", "--texts"}, "Settings/Window\tTitle\ttSTRING\tMain window\n"},
           {{"find", "^(flag|big)$", "--names"},
            "/\tBig\ttQWORD\t18446744073709551615\nNew\tFlag\ttBOOL\t1\n"},
       }) {
    const Outcome run = trove(c.args);
    EXPECT_EQ(run.status, 0) << ::testing::PrintToString(c.args) << run.err;
    EXPECT_EQ(run.out, c.out) << ::testing::PrintToString(c.args);
  }
  expectFailure(trove({"find", "("}), 2, store(), "find (", "not a regular expression");
}

TEST_F(CliTest, WatchPrintsChangesAcrossReplacingSaves) {
  writeSample();
  const store_test::RunningProgram watch = startProgram(
      TROVE_CLI_PATH, {"watch", "Settings", "--count", "3", "--timeout", "120"}, dir_, "watch");
  // The watch says on standard error when it is ready.
  for (int i = 0; i < 3000 && readFile(watch.errFile).find("watching") == std::string::npos; ++i) {
    usleep(10000);
  }
  ASSERT_EQ(trove({"set", "Settings/Window", "Width", "tDWORD", "1024"}).status, 0);
  ASSERT_EQ(trove({"set", "Settings", "Extra", "tSTRING", "x"}).status, 0);
  ASSERT_EQ(trove({"delete", "Settings", "Key"}).status, 0);
  const Outcome run = finishProgram(watch);
  EXPECT_EQ(run.status, 0) << run.err;
  // Saves that land before the watch reloads are reported together, in tree order.
  std::multiset<std::string> lines;
  std::istringstream out(run.out);
  for (std::string line; std::getline(out, line);) lines.insert(line);
  EXPECT_EQ(lines, (std::multiset<std::string>{"Settings/Window\tWidth\t800 -> 1024",
                                               "Settings\tExtra\t(none) -> x",
                                               "Settings\tKey\t00FF10 -> (none)"}))
      << run.out;
}

TEST_F(CliTest, EditReplacesTheStoreOnlyWithAText) {
  writeSample();
  const std::string sedEditor = "EDITOR=sed -i s/800/900/";
  ASSERT_EQ(trove({"edit"}, "", {sedEditor}).status, 0);
  EXPECT_EQ(trove({"get", "Settings/Window", "Width"}).out, "900\n");
  EXPECT_TRUE(entries().count("profiles.xml.bak2"));

  const std::string before = readFile(store());
  const Outcome broken = trove({"edit"}, "", {"EDITOR=sed -i 's/<.key>/<x>/'"});
  EXPECT_EQ(broken.status, 3) << broken.err;
  EXPECT_NE(broken.err.find("edit (the edited text is kept in this file): line "),
            std::string::npos)
      << broken.err;
  EXPECT_EQ(readFile(store()), before);
  const std::string kept = broken.err.substr(7, broken.err.find(':', 7) - 7);
  EXPECT_NE(readFile(kept).find("<x>"), std::string::npos) << kept;
  std::filesystem::remove(kept);

  EXPECT_EQ(trove({"edit"}, "", {"EDITOR=false"}).status, 3);
  EXPECT_EQ(readFile(store()), before);
}

TEST_F(CliTest, BashCompletionOffersCommandsTypesAndKeys) {
  if (!programAvailable("bash")) GTEST_SKIP() << "bash is not installed";
  writeSample();
  const std::string probe = "PATH=" + std::filesystem::path(TROVE_CLI_PATH).parent_path().string() +
                            ":$PATH\n"
                            "compopt() { :; }\n"
                            "source " TROVE_COMPLETION_PATH
                            "\n"
                            "complete() { COMP_WORDS=(\"$@\"); COMP_CWORD=$(($# - 1)); _trove; "
                            "echo \"${COMPREPLY[*]}\"; }\n"
                            "complete trove se\n"
                            "complete trove set Settings/Window Width tDW\n"
                            "complete trove get Settings/W\n"
                            "complete trove delete --r\n";
  writeFile(file("probe.sh"), probe);
  const Outcome run = runProgram("bash", {"probe.sh"}, dir_);
  EXPECT_EQ(run.out, "set\ntDWORD\nSettings/Window/\n--recursive\n") << run.err;
}

TEST_F(CliTest, ErrorsNameTheCommandAndTheCommands) {
  for (const auto& [args, fragment] : std::vector<std::pair<std::vector<std::string>, std::string>>{
           {{"frobnicate"}, "unknown command \"frobnicate\" (commands: tree, ls, list, get"},
           {{"--store", "x.xml"}, "no command given (commands: "},
           {{"set", "a", "b", "tNOPE", "1"}, "(types: tVOID, tBYTE, "}}) {
    const Outcome run = trove(args);
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.err.find(fragment), std::string::npos) << run.err;
  }
}

}  // namespace

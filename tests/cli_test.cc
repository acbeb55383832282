// The trove tool end to end: the built executable run on real files in a
// scratch directory, its output, exit status and the files it leaves.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <set>
#include <sstream>

#include "run_program.h"
#include "store_files.h"
#include "trove/version.h"

namespace {

using store_test::has;
using store_test::Outcome;
using store_test::readFile;
using store_test::runProgram;
using store_test::writeFile;
namespace fs = std::filesystem;
using Args = std::vector<std::string>;

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

const char kTree[] =
    "Big  tQWORD  18446744073709551615\n"
    "Settings/\n"
    "  Maximized  tBOOL    1\n"
    "  Key        tBINARY  00FF10\n"
    "  Lines      tSTRING  one\\ntwo\n"
    "  Window/\n"
    "    Width  tDWORD   800\n"
    "    Title  tSTRING  Main window\n"
    "    Note   tSTRING\n"
    "Empty/\n";

class CliTest : public ::testing::Test {
 protected:
  Outcome trove(const Args& args, const std::string& input = "",
                const std::vector<std::string>& environment = {}) {
    return runProgram(TROVE_CLI_PATH, args, dir_, input, environment);
  }
  std::string file(const std::string& name) const { return dir_.file(name); }
  std::string store() const { return file("profiles.xml"); }
  void writeSample(const std::string& name = "profiles.xml") { writeFile(file(name), kSample); }
  std::set<std::string> entries() const { return dir_.entries(); }
  store_test::ScratchDirectory dir_;
};

// Each command on the sample store: its exit status and either its exact
// output or, on failure, a part of its one line on standard error. No
// command here may change or create a file.
TEST_F(CliTest, CommandsExitStatusesAndOutputs) {
  writeSample();
  writeFile(file("damaged.xml"), "<propertiesmap><key name=\"a\"><tDWORD name=\"x\">1</tDWORD>");
  static const char kNulList[] =
      "Settings/Window\0Width\0tDWORD\0800\0Settings/Window\0Title\0tSTRING\0Main window\0"
      "Settings/Window\0Note\0tSTRING\0\0";
  struct Case {
    std::string args;  // separated by "|"
    int status;
    std::string expected;
    std::string input = "";
  };
  const std::string notFound = "(0x8000d002)", noFile = "(0x800000c5)", damaged = "(0x800000c0)";
  const std::vector<Case> cases = {
      {"get|Settings/Window|Width", 0, "800\n"},
      {"get|settings\\WINDOW|title", 0, "Main window\n"},
      {"get|Settings|Key", 0, "00FF10\n"},
      {"get|/|Big", 0, "18446744073709551615\n"},
      {"get|Settings/Window|Width|--as|tSTRING", 0, "800\n"},
      {"get|Settings/Window|Width|--as|tDOUBLE", 0, "800.000000\n"},
      {"get|Settings|Maximized|--as|tDWORD", 0, "1\n"},
      {"get|Settings|Key|--as|tQWORD", 0, "65296\n"},
      {"get|/|Big|--as|tLONGLONG", 0, "9223372036854775807\n"},
      {"get|Settings|Missing|--default|fallback", 0, "fallback\n"},
      {"get|Nowhere|Width|--default|0", 0, "0\n"},
      {"--store|absent.xml|get|a|b|--default|x", 0, "x\n"},
      {"get|Settings|Lines|--default|x", 0, "one\ntwo\n"},
      {"--read-only|get|Settings/Window|Width", 0, "800\n"},
      {"tree", 0, kTree},
      {"tree|settings/window", 0,
       "Width  tDWORD   800\nTitle  tSTRING  Main window\nNote   tSTRING\n"},
      {"tree|Empty", 0, ""},
      {"ls", 0, "Settings/\nEmpty/\nBig\n"},
      {"ls|/Settings/", 0, "Window/\nMaximized\nKey\nLines\n"},
      {"list|Settings", 0,
       "Settings\tMaximized\ttBOOL\t1\nSettings\tKey\ttBINARY\t00FF10\n"
       "Settings\tLines\ttSTRING\tone\\ntwo\nSettings/Window\tWidth\ttDWORD\t800\n"
       "Settings/Window\tTitle\ttSTRING\tMain window\nSettings/Window\tNote\ttSTRING\t\n"},
      {"list|Settings/Window|-z", 0, std::string(kNulList, sizeof kNulList - 1)},
      {"check", 0, store() + ": 3 keys, 7 values\n"},
      {"--version", 0, "trove " TROVE_VERSION_STRING "\n"},
      // Not found: 1.
      {"get|Settings|Missing", 1, "trove: " + store() + ": get Settings/Missing: "},
      {"get|Nowhere|Width", 1, notFound},
      {"tree|Nowhere", 1, notFound},
      {"delete|Settings/Nowhere", 1, notFound},
      {"delete|Settings|Missing", 1, "delete Settings/Missing: "},
      {"delete|Settings/Window/Deeper/Still", 1, "no key \"Deeper\" in Settings/Window"},
      {"export|Nowhere|--json", 1, notFound},
      {"copy|Nowhere|--to|none.xml", 1, notFound},
      {"--store|absent.xml|tree", 1, "absent.xml: tree: "},
      {"--store|absent.xml|delete|A", 1, noFile},
      {"--store|missing/dir/s.xml|set|a|b|tDWORD|1", 1, noFile},
      {"--store|t.xml|import|absent.xml", 1, noFile},
      // Usage: 2.
      {"", 2, "trove: "},
      {"frobnicate", 2, "unknown command \"frobnicate\" (commands: tree, ls, list, get"},
      {"--store|x.xml", 2, "no command given (commands: "},
      {"--no-such-option|tree", 2, "trove: "},
      {"get|OnlyPath", 2, "trove: "},
      {"set|a|b|tDWORD", 2, "trove: "},
      {"copy|a", 2, "trove: "},
      {"--backup-mode|7|tree", 2, "trove: "},
      {"--trace|loud|tree", 2, "trove: "},
      {"--store||tree", 2, "trove: "},
      {"import|", 2, "trove: "},
      {"copy|a|--to|", 2, "trove: "},
      {"get|Settings/Window|Width|--as|tBYTE", 2, "cannot be read as tBYTE"},
      {"get|Settings/Window|Title|--as|tDWORD", 2, "get Settings/Window/Title: "},
      {"get|Settings|Key|--as|tNOTHING", 2, "unknown type \"tNOTHING\""},
      {"get|Settings|Key|--as|tOBJECT", 2, "holds no values"},
      {"set|a|b|tNOPE|1", 2, "unknown type \"tNOPE\" (types: tVOID, tBYTE, "},
      {"set|a|b|tBYTE|300", 2, "\"300\" is not a tBYTE value"},
      {"set|a|b|tBOOL|yes", 2, "is not a tBOOL value"},
      {"set|a|b|tOBJECT|1", 2, "holds no values"},
      {"set|Settings/Window|Width|tDWORD|12abc", 2, "expected a whole number from 0 to 4294967295"},
      {"set|Settings/Window|Width|tDWORD|99999999999", 2, "is not a tDWORD value"},
      {"set|Settings/Window|Width|tDWORD|--|-1", 2, "is not a tDWORD value"},
      {"set|Settings/Window|Width|tSTRING|w", 2, "stored as tDWORD, not tSTRING"},
      {"set|Settings|Ratio|tDOUBLE|1,5", 2, "expected a decimal number"},
      {"set|/Settings//Window|Width|tDWORD|1", 2, "empty name at character 11"},
      {"delete|/", 2, "root key cannot be deleted"},
      {"delete|Settings", 2, "holds 1 key, 6 values; use -r (--recursive)"},
      {"delete|settings/window", 2, "holds 0 keys, 3 values; use -r"},
      {"delete|Application//Window|-r", 2, "empty name"},
      {"mv|Settings|Settings/Window/Inside", 2, "cannot move below itself"},
      {"mv|Settings/Window|settings", 2, "exists already"},
      {"find|(", 2, "not a regular expression"},
      // The store refuses: 3.
      {"--read-only|set|Settings/Window|Width|tDWORD|1", 3, "read-only (0x800000c1)"},
      {"set|Settings|New|tDWORD|1|--read-only", 3, "(0x800000c1)"},
      {"--read-only|delete|-r|Settings/Window", 3, "(0x800000c1)"},
      {"--read-only|delete|Settings|Key", 3, "(0x800000c1)"},
      {"--store|damaged.xml|check", 3, damaged},
      {"--store|damaged.xml|set|a|x|tDWORD|5", 3, damaged},
      {"--store|t.xml|import|damaged.xml", 3, damaged},
      {"--store|-|check", 3, "trove: (standard input): check: line 3, column 3: ",
       "<propertiesmap>\n  <key name=\"a\">\n</propertiesmap>"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.args);
    Args args;
    for (size_t at = 0, bar = 0; !c.args.empty(); at = bar + 1) {
      bar = c.args.find('|', at);
      args.push_back(c.args.substr(at, bar - at));
      if (bar == std::string::npos) break;
    }
    const Outcome run = trove(args, c.input);
    EXPECT_EQ(run.status, c.status) << run.err;
    if (c.status == 0) {
      EXPECT_EQ(run.out, c.expected);
      EXPECT_EQ(run.err, "");
    } else {
      EXPECT_EQ(run.out, "");
      EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
      EXPECT_EQ(run.err.rfind("trove: ", 0), 0u) << run.err;
      EXPECT_TRUE(has(run.err, c.expected)) << run.err;
    }
  }
  EXPECT_EQ(readFile(store()), kSample);
  EXPECT_EQ(entries(), (std::set<std::string>{"profiles.xml", "damaged.xml"}));

  const Outcome help = trove({"--help"});
  EXPECT_EQ(help.status, 0);
  for (const char* word : {"tree", "set", "import", "copy", "--read-only", "Exit status"}) {
    EXPECT_TRUE(has(help.out, word)) << word;
  }
  EXPECT_TRUE(has(trove({"set", "--help"}).out, "TYPE"));
}

TEST_F(CliTest, SetCreatesTheStoreKeepsBackupsAndTakesStrictTexts) {
  ASSERT_EQ(trove({"set", "Settings", "Offset", "tINT", "--", "-5"}).status, 0);
  // A new store leaves no empty placeholder behind as a backup.
  EXPECT_EQ(entries(), (std::set<std::string>{"profiles.xml"}));
  for (const auto& [args, element] : std::vector<std::pair<Args, std::string>>{
           {{"Settings", "Maximized", "tBOOL", "true"}, "<tBOOL name=\"Maximized\">1</tBOOL>"},
           {{"Settings", "Key", "tBINARY", "00ff10"}, "<tBINARY name=\"Key\">00FF10</tBINARY>"},
           {{"/", "Top", "tSTRING", "at the root"}, "<tSTRING name=\"Top\">at the root</tSTRING>"},
           {{"Settings/Window", "Width", "tDWORD", "0x500"},
            "<tDWORD name=\"Width\">1280</tDWORD>"},
           {{"Settings/Window", "Width", "tDWORD", "1F", "--raw"}, "\"Width\">31</tDWORD>"},
           {{"/Settings/Window/", "Width", "tDWORD", "7"}, "\"Width\">7</tDWORD>"},
           {{"Settings", "Ratio", "tDOUBLE", "2.5"}, "<tDOUBLE name=\"Ratio\">2.500000</tDOUBLE>"},
       }) {
    Args set{"set"};
    set.insert(set.end(), args.begin(), args.end());
    EXPECT_EQ(trove(set).status, 0);
    EXPECT_TRUE(has(readFile(store()), element)) << element;
  }
  EXPECT_TRUE(has(readFile(store()), "<tINT name=\"Offset\">-5</tINT>"));
  // Each later save of profiles.xml keeps the previous file.
  EXPECT_TRUE(has(readFile(store() + ".bak2"), "\"Width\">7<"));
  EXPECT_FALSE(has(readFile(store() + ".bak2"), "Ratio"));

  // --retype replaces the value; it then comes last among its key's values.
  ASSERT_EQ(trove({"set", "Settings", "Maximized", "tSTRING", "wide", "--retype"}).status, 0);
  EXPECT_EQ(trove({"ls", "Settings"}).out, "Window/\nOffset\nKey\nRatio\nMaximized\n");
  EXPECT_EQ(trove({"get", "Settings", "Maximized"}).out, "wide\n");
  // A text the file keeps only in part is set, with a warning.
  const Outcome tiny = trove({"set", "Settings", "Tiny", "tDOUBLE", "1e-9"});
  EXPECT_EQ(tiny.status, 0);
  EXPECT_TRUE(has(tiny.err, "warning: " + store() + ": set Settings/Tiny: the store keeps six"))
      << tiny.err;
  const Outcome emoji = trove({"set", "Settings", "Face", "tWSTRING", "\xF0\x9F\x98\x80"});
  EXPECT_EQ(emoji.status, 0);
  EXPECT_TRUE(has(emoji.err, "Basic Multilingual Plane")) << emoji.err;
}

TEST_F(CliTest, DeleteMoveAndCopyChangeOnlyWhatTheyName) {
  writeSample();
  ASSERT_EQ(trove({"delete", "Settings", "Maximized"}).status, 0);
  EXPECT_EQ(readFile(file("profiles.xml.bak2")), kSample);
  ASSERT_EQ(trove({"delete", "Empty"}).status, 0);  // an empty key needs no -r
  ASSERT_EQ(trove({"mv", "Settings/Window", "Moved/Here"}).status, 0);
  EXPECT_EQ(trove({"tree"}).out,
            "Big  tQWORD  18446744073709551615\nSettings/\n  Key    tBINARY  00FF10\n"
            "  Lines  tSTRING  one\\ntwo\nMoved/\n  Here/\n    Width  tDWORD   800\n"
            "    Title  tSTRING  Main window\n    Note   tSTRING\n");
  ASSERT_EQ(trove({"delete", "moved", "-r"}).status, 0);
  EXPECT_EQ(trove({"ls"}).out, "Settings/\nBig\n");
  // Below another key that exists is no move below itself.
  ASSERT_EQ(trove({"set", "Other", "v", "tDWORD", "1"}).status, 0);
  ASSERT_EQ(trove({"mv", "Settings", "other/Settings"}).status, 0);
  EXPECT_EQ(trove({"ls", "Other"}).out, "Settings/\nv\n");

  writeSample();
  ASSERT_EQ(trove({"copy", "Settings/Window", "--to", "other.xml"}).status, 0);
  EXPECT_EQ(trove({"--store", "other.xml", "ls", "Settings/Window"}).out, "Width\nTitle\nNote\n");
  ASSERT_EQ(trove({"copy", "Settings", "--to", "other.xml", "--into", "Backup"}).status, 0);
  EXPECT_EQ(trove({"--store", "other.xml", "get", "Backup/Window", "Title"}).out, "Main window\n");
  const std::string other = readFile(file("other.xml"));
  EXPECT_EQ(trove({"--read-only", "copy", "Settings", "--to", "other.xml"}).status, 3);
  EXPECT_EQ(readFile(file("other.xml")), other);
  ASSERT_EQ(trove({"copy", "/", "--to", "all.xml"}).status, 0);
  EXPECT_EQ(trove({"--store", "all.xml", "export"}).out, trove({"export"}).out);
  // The source is only read, although the copy marks it changed.
  EXPECT_EQ(readFile(store()), kSample);
  EXPECT_EQ(entries(),
            (std::set<std::string>{"profiles.xml", "profiles.xml.bak2", "other.xml", "all.xml"}));
}

TEST_F(CliTest, ExportAndImportAreInversesInXmlAndJson) {
  writeSample();
  const std::string whole = trove({"export"}).out;
  EXPECT_EQ(whole.rfind("<propertiesmap>\r\n    <key name=\"Settings\">\r\n", 0), 0u);
  EXPECT_TRUE(has(whole, "<tSTRING name=\"Lines\">one\ntwo</tSTRING>\r\n")) << whole;
  const std::string window = trove({"export", "Settings/Window"}).out;
  EXPECT_FALSE(has(window, "<key name=\"Window\">")) << window;
  writeFile(file("window.xml"), window);
  ASSERT_EQ(trove({"--store", "copy.xml", "import", "window.xml", "--into", "A/B"}).status, 0);
  EXPECT_EQ(trove({"--store", "copy.xml", "export", "A/B"}).out, window);

  // Any XML: elements become keys, attributes and text values.
  writeFile(file("config.xml"),
            "<?xml version=\"1.0\"?>\n<config version=\"2\">\n  <server host=\"example.org\">Main "
            "&amp; only</server>\n  <!-- comment -->\n  <paths><home>/srv</home></paths>\n"
            "</config>\n");
  const Outcome imported = trove({"import", "config.xml", "--into", "Settings/Imported"});
  EXPECT_EQ(imported.status, 0);
  EXPECT_EQ(imported.err, "");
  EXPECT_EQ(trove({"tree", "Settings/Imported"}).out,
            "config/\n  version  tSTRING  2\n  server/\n    host    tSTRING  example.org\n"
            "    noname  tSTRING  Main & only\n  paths/\n    home/\n      noname  tSTRING  /srv\n");
  EXPECT_EQ(trove({"get", "Settings/Window", "Width"}).out, "800\n");
  writeFile(file("list.xml"), "<list><item id=\"1\"/><item id=\"2\"/><item id=\"3\"/></list>");
  EXPECT_EQ(
      trove({"--store", "s.xml", "import", "list.xml"})
          .err.rfind(
              "trove: warning: " + file("list.xml") + ": import: 2 keys, 2 values not copied", 0),
      0u);

  // JSON: repeated names, every kind of text, control characters, bytes that are no UTF-8.
  writeFile(
      store(),
      "<propertiesmap><key name=\"A\"><tSTRING name=\"x\">1</tSTRING>"
      "<tSTRING name=\"x\">2</tSTRING><tBINARY name=\"b\">00FF</tBINARY>"
      "<tDOUBLE name=\"d\">0.500000</tDOUBLE><tSTRING name=\"t\">a&#9;b&lt;&amp;\xff</tSTRING>"
      "</key><key name=\"Empty\"/><tINT name=\"n\">-5</tINT></propertiesmap>");
  const std::string json = trove({"export", "--json"}).out;
  EXPECT_TRUE(has(json, "\"type\": \"tDOUBLE\"")) << json;
  writeFile(file("store.json"), json);
  if (runProgram("python3", {"--version"}, dir_).status == 0) {
    EXPECT_EQ(runProgram("python3", {"-m", "json.tool", "store.json"}, dir_).status, 0) << json;
  }
  const Outcome fresh = trove({"--store", "j.xml", "import", "--json", "store.json"});
  EXPECT_EQ(fresh.status, 0);
  EXPECT_EQ(fresh.err, "");
  EXPECT_EQ(trove({"--store", "j.xml", "export", "--json"}).out, json);
  // Into a key of an existing store the copy merges repeated names, and says so.
  const Outcome into = trove({"--store", "j.xml", "import", "--json", "-", "--into", "B"}, json);
  EXPECT_TRUE(has(into.err, "1 value not copied")) << into.err;
  EXPECT_EQ(trove({"--store", "j.xml", "get", "B/A", "b"}).out, "00FF\n");
  for (const auto& [input, error] : std::vector<std::pair<std::string, std::string>>{
           {"{\"keys\": [{\"name\": 1}]}", "keys[0]: \"name\" must be a string"},
           {"{\"values\": [{\"name\": \"v\", \"type\": \"tDWORD\", \"value\": \"1\"}], x",
            "JSON"}}) {
    const Outcome bad = trove({"--store", "bad.xml", "import", "--json", "-"}, input);
    EXPECT_EQ(bad.status, 2);
    EXPECT_TRUE(has(bad.err, "(standard input): import: ")) << bad.err;
    EXPECT_TRUE(has(bad.err, error)) << bad.err;
  }
  EXPECT_FALSE(entries().count("bad.xml"));
  // "-" as the store: read from standard input, a changed store written to standard output.
  const Outcome piped = trove({"--store", "-", "set", "A", "y", "tDWORD", "3"}, readFile(store()));
  EXPECT_EQ(trove({"--store", "-", "get", "A", "y"}, piped.out).out, "3\n");
}

TEST_F(CliTest, DiffFindAndWatchFollowChanges) {
  writeSample();
  const store_test::RunningProgram watch = store_test::startProgram(
      TROVE_CLI_PATH, {"watch", "Settings", "--count", "3", "--timeout", "120"}, dir_, "watch");
  // The watch says on standard error when it is ready.
  for (int i = 0; i < 3000 && !has(readFile(watch.errFile), "watching"); ++i) usleep(10000);
  ASSERT_EQ(trove({"set", "Settings/Window", "Width", "tDWORD", "1024"}).status, 0);
  ASSERT_EQ(trove({"delete", "Settings", "Key"}).status, 0);
  ASSERT_EQ(trove({"set", "New", "Flag", "tBOOL", "true"}).status, 0);
  ASSERT_EQ(trove({"set", "Settings", "Extra", "tSTRING", "x"}).status, 0);
  // Saves that land before the watch reloads are reported together.
  std::multiset<std::string> lines;
  std::istringstream out(store_test::finishProgram(watch).out);
  for (std::string line; std::getline(out, line);) lines.insert(line);
  EXPECT_EQ(lines, (std::multiset<std::string>{"Settings/Window\tWidth\t800 -> 1024",
                                               "Settings\tExtra\t(none) -> x",
                                               "Settings\tKey\t00FF10 -> (none)"}));
  writeSample("old.xml");
  for (const auto& [args, expected] : std::vector<std::pair<Args, std::string>>{
           {{"diff", "old.xml"},
            "- Settings\tKey\ttBINARY\t00FF10\n+ Settings\tExtra\ttSTRING\tx\n- Settings/Window\t"
            "Width\ttDWORD\t800\n+ Settings/Window\tWidth\ttDWORD\t1024\n+ New/\n+ "
            "New\tFlag\ttBOOL\t1\n"},
           {{"diff", "old.xml", "--key", "settings/window"},
            "- settings/window\tWidth\ttDWORD\t800\n+ settings/window\tWidth\ttDWORD\t1024\n"},
           {{"diff"}, "+ Settings\tExtra\ttSTRING\tx\n"},  // against the backup
           {{"--store", "old.xml", "diff", "old.xml"}, ""},
           {{"find", "^w"}, "Settings/Window/\nSettings/Window\tWidth\ttDWORD\t1024\n"},
           {{"find", "window", "--texts"}, "Settings/Window\tTitle\ttSTRING\tMain window\n"},
           {{"find", "^(flag|big)$", "--names"},
            "/\tBig\ttQWORD\t18446744073709551615\nNew\tFlag\ttBOOL\t1\n"}}) {
    EXPECT_EQ(trove(args).out, expected) << ::testing::PrintToString(args);
  }
}

TEST_F(CliTest, EditBackupModeAndTrace) {
  writeSample();
  ASSERT_EQ(trove({"edit"}, "", {"EDITOR=sed -i s/800/900/"}).status, 0);
  EXPECT_EQ(trove({"get", "Settings/Window", "Width"}).out, "900\n");
  const std::string before = readFile(store());
  const Outcome broken = trove({"edit"}, "", {"EDITOR=sed -i 's/<.key>/<x>/'"});
  EXPECT_EQ(broken.status, 3);
  EXPECT_TRUE(has(broken.err, "edit (the edited text is kept in this file): line ")) << broken.err;
  const std::string kept = broken.err.substr(7, broken.err.find(':', 7) - 7);
  EXPECT_TRUE(has(readFile(kept), "<x>")) << kept;
  fs::remove(kept);
  const Outcome failed = trove({"edit"}, "", {"EDITOR=false"});
  EXPECT_EQ(failed.status, 3);
  EXPECT_FALSE(has(failed.err, "kept")) << "an unchanged text is not kept: " << failed.err;
  EXPECT_EQ(readFile(store()), before);

  writeSample("data.xml");
  ASSERT_EQ(trove({"--store", "data.xml", "set", "a", "b", "tDWORD", "1"}).status, 0);
  EXPECT_FALSE(entries().count("data.xml.bak2")) << "mode 0 keeps nothing for other names";
  ASSERT_EQ(
      trove({"--store", "data.xml", "--backup-mode", "2", "set", "a", "b", "tDWORD", "2"}).status,
      0);
  EXPECT_TRUE(has(readFile(file("data.xml.bak")), "<tDWORD name=\"b\">1</tDWORD>"));
  EXPECT_TRUE(has(readFile(file("data.xml.bak2")), "<tDWORD name=\"b\">1</tDWORD>"));
  const Outcome traced = trove({"--store", "data.xml", "--trace", "600", "get", "a", "b"});
  EXPECT_EQ(traced.out, "2\n");
  EXPECT_TRUE(has(traced.err, "Getting value")) << traced.err;
  EXPECT_EQ(trove({"--store", "data.xml", "--trace", "300", "get", "a", "b"}).err, "");
}

}  // namespace

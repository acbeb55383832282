// Loading stores of several shapes with trove and with the XML libraries a
// program would otherwise use, on the same bytes in memory. A load is the
// parse, a walk over every key and value, and a read of every value in its
// stored type; a save serializes the loaded tree to memory. Each library
// runs in a process of its own, for its own memory figures and so that a
// load that takes too long can be stopped. Prints Markdown tables.
//
//   bench_load [--shapes=typical-1mb,typical-10mb,wide,deep,siblings]
//              [--libraries=pugixml,trove_raw,...] [--budget=SECONDS]
//              [--min-time=SECONDS] [--quick]
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <optional>
#include <string>
#include <vector>

#include "bench_options.h"
#include "child_run.h"
#include "loader.h"
#include "process_memory.h"
#include "store_shapes.h"

namespace trove_bench {
namespace {

struct LoadReport {
  int reps = 0;                                        // complete rounds of parse, walk (and save)
  double parse = -1, walk = -1, load = -1, save = -1;  // best seconds
  bool refused = false;
  Tally tally;
  long long peakKb = -1;      // highest resident set during the first load, over the start
  long long retainedKb = -1;  // resident set after the first load, over the start
  long long heapBytes = -1;   // malloc's bytes in use after the first load, over the start
  unsigned long long savedBytes = 0;
  char error[240] = {};
};

using Clock = std::chrono::steady_clock;

double since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

double best(double current, double seconds) {
  return current < 0 || seconds < current ? seconds : current;
}

// A small store each library loads once before measuring, so that first-use
// costs (module tables, lazy set-up) are not counted as part of a load.
const std::string& warmUpText() {
  static const std::string text = [] { return callStore(100).text; }();
  return text;
}

void measureLoads(const LoaderKind& kind, const Shape& shape, const Options& options,
                  ReportChannel& out) {
  LoadReport report;
  const auto send = [&] { out.send(&report, sizeof report); };
  std::unique_ptr<Loader> loader = kind.make();
  loader->prepare();
  loader->parse(warmUpText());
  loader->walk();
  loader->release();

  const bool peakKnown = resetPeakRss();
  const long long rssBefore = statusKb("VmRSS:");
  const long long heapBefore = heapInUse();
  const Clock::time_point start = Clock::now();
  for (;;) {
    const Clock::time_point round = Clock::now();
    try {
      loader->parse(shape.text);
    } catch (const std::exception& error) {
      report.refused = true;
      std::snprintf(report.error, sizeof report.error, "%s", error.what());
      send();
      return;
    }
    const double parsed = since(round);
    if (report.reps == 0) {
      report.parse = parsed;
      send();  // a walk that overruns the budget still leaves the parse time
    }
    const Clock::time_point walkStart = Clock::now();
    report.tally = loader->walk();
    const double walked = since(walkStart);
    if (report.reps == 0) {
      report.peakKb = peakKnown ? statusKb("VmHWM:") - rssBefore : -1;
      report.retainedKb = statusKb("VmRSS:") - rssBefore;
      report.heapBytes = heapInUse() - heapBefore;
    }
    // On a shared machine the best of each step is the steadiest figure;
    // the load is the sum of the two.
    report.parse = best(report.parse, parsed);
    report.walk = best(report.walk, walked);
    report.load = report.parse + report.walk;
    if (loader->canSave()) {
      if (report.reps == 0) send();
      const Clock::time_point saveStart = Clock::now();
      report.savedBytes = loader->save(shape);
      report.save = best(report.save, since(saveStart));
    }
    loader->release();
    ++report.reps;
    send();
    const double elapsed = since(start);
    const double roundTime = since(round);
    if (report.reps >= 100) break;
    if (report.reps >= 3 && elapsed >= options.minTime) break;
    if (elapsed + 1.5 * roundTime > 0.8 * options.budget) break;
  }
}

std::string number(double value, int decimals) {
  char text[64];
  std::snprintf(text, sizeof text, "%.*f", decimals, value);
  return text;
}

std::string milliseconds(double seconds) {
  const double ms = seconds * 1000;
  return number(ms, ms < 10 ? 2 : ms < 100 ? 1 : 0);
}

std::string ratio(double value, double reference) {
  if (value < 0 || reference <= 0) return "—";
  const double r = value / reference;
  return number(r, r < 10 ? 2 : r < 100 ? 1 : 0) + "×";
}

std::string mebibytes(long long kb) {
  return kb < 0 ? "—" : number(static_cast<double>(kb) / 1024.0, 1);
}

std::string withCommas(unsigned long long value) {
  std::string digits = std::to_string(value);
  for (int at = static_cast<int>(digits.size()) - 3; at > 0; at -= 3) digits.insert(at, ",");
  return digits;
}

struct Row {
  const LoaderKind* kind;
  LoadReport report;
  ChildOutcome outcome;
};

void printShape(const Shape& shape, const std::vector<Row>& rows, const Options& options) {
  const Row* reference = nullptr;
  for (const Row& row : rows) {
    if (row.kind->name == "pugixml" && row.outcome.gotReport && row.report.reps > 0) {
      reference = &row;
    }
  }
  const double megabytes = static_cast<double>(shape.text.size()) / 1e6;
  std::printf("\n### %s: %s bytes, %s keys, %s values\n\n", shape.title.c_str(),
              withCommas(shape.text.size()).c_str(), withCommas(shape.keys).c_str(),
              withCommas(shape.values).c_str());
  std::printf(
      "| library | load ms | parse ms | walk ms | MB/s | load × pugixml | save ms | "
      "save × pugixml | peak RSS MiB | RSS after load MiB | RSS × file | walk result |\n");
  std::printf("|---|---:|---:|---:|---:|---:|---:|---:|---:|---:|---:|---|\n");
  for (const Row& row : rows) {
    const LoadReport& r = row.report;
    const bool complete = row.outcome.gotReport && r.reps > 0;
    std::string load = "—", parse = "—", walk = "—", speed = "—", versus = "—", save = "—",
                saveVersus = "—", peak = "—", retained = "—", perFile = "—", result;
    if (row.outcome.gotReport && r.parse >= 0) parse = milliseconds(r.parse);
    if (row.outcome.gotReport && r.retainedKb >= 0) {
      peak = mebibytes(r.peakKb);
      retained = mebibytes(r.retainedKb);
      perFile = number(static_cast<double>(r.retainedKb) * 1024.0 /
                           static_cast<double>(shape.text.size()),
                       2) +
                "×";
    }
    if (complete) {
      load = milliseconds(r.load);
      walk = row.kind->walksInParse ? "in parse" : milliseconds(r.walk);
      speed = number(megabytes / r.load, 0);
      if (reference) versus = ratio(r.load, reference->report.load);
      if (r.save >= 0) {
        save = milliseconds(r.save);
        if (reference) saveVersus = ratio(r.save, reference->report.save);
      }
    }
    const std::string skipped = "skipped: > " + number(options.budget, 0) + " s";
    if (r.refused) {
      result = std::string("refused: ") + r.error;
    } else if (row.outcome.timedOut && !complete) {
      result = skipped;
      if (row.outcome.gotReport && r.parse >= 0) {
        walk = skipped;
      } else {
        load = skipped;
      }
    } else if (!row.outcome.failure.empty()) {
      result = row.outcome.failure;
    } else if (!complete) {
      result = "no result";
    } else if (!row.kind->checkable) {
      result = "—";
    } else if (!reference) {
      result = withCommas(r.tally.keys) + " keys, " + withCommas(r.tally.values) + " values";
    } else if (r.tally == reference->report.tally) {
      result = "same as pugixml";
    } else {
      result = "DIFFERS: " + withCommas(r.tally.keys) + " keys, " + withCommas(r.tally.values) +
               " values";
    }
    // trove writes its canonical layout, which the stores are in.
    if (complete && row.kind->troveSide && r.save >= 0 && r.savedBytes != shape.text.size()) {
      result += "; saved " + withCommas(r.savedBytes) + " bytes";
    }
    std::printf("| %s | %s | %s | %s | %s | %s | %s | %s | %s | %s | %s | %s |\n",
                row.kind->name.c_str(), load.c_str(), parse.c_str(), walk.c_str(), speed.c_str(),
                versus.c_str(), save.c_str(), saveVersus.c_str(), peak.c_str(), retained.c_str(),
                perFile.c_str(), result.c_str());
    std::fflush(stdout);
  }
}

std::vector<std::string> shapeIds(const Options& options) {
  if (!options.shapes.empty()) return options.shapes;
  if (options.quick) return {"typical-1mb", "wide", "deep"};
  return {"typical-1mb", "typical-10mb", "wide", "deep", "siblings"};
}

std::optional<Shape> makeShape(const std::string& id) {
  if (id == "typical-1mb") return typicalStore(id, "typical, 1 MB", 1000000);
  if (id == "typical-10mb") return typicalStore(id, "typical, 10 MB", 10000000);
  if (id == "wide") return wideStore(50000);
  if (id == "deep") return deepStore(2000);
  if (id == "siblings") return siblingStore(1000000);
  return std::nullopt;
}

int run(const Options& options) {
  std::vector<LoaderKind> kinds;
  for (LoaderKind& kind : loaderKinds()) {
    if (options.libraries.empty() || std::find(options.libraries.begin(), options.libraries.end(),
                                               kind.name) != options.libraries.end()) {
      kinds.push_back(std::move(kind));
    }
  }
  std::printf(
      "## Load and save\n\nEach step's time is its best of up to 100 rounds (at least %s s "
      "or 3 rounds, within a budget of %s s per library and store); load = parse + walk. "
      "MB = 10^6 bytes.\n\n",
      number(options.minTime, 1).c_str(), number(options.budget, 0).c_str());
  for (const LoaderKind& kind : kinds) {
    std::printf("- %s: %s\n", kind.name.c_str(), kind.note.c_str());
  }
  int failures = 0;
  for (const std::string& id : shapeIds(options)) {
    std::optional<Shape> shape = makeShape(id);
    if (!shape) {
      std::fprintf(stderr, "bench_load: no store shape %s\n", id.c_str());
      return 2;
    }
    std::vector<Row> rows;
    for (const LoaderKind& kind : kinds) {
      Row row{&kind, {}, {}};
      row.outcome =
          runInChild(options.budget, &row.report, sizeof row.report,
                     [&](ReportChannel& out) { measureLoads(kind, *shape, options, out); });
      if (!row.outcome.failure.empty()) ++failures;
      rows.push_back(row);
    }
    printShape(*shape, rows, options);
  }
  return failures ? 1 : 0;
}

}  // namespace
}  // namespace trove_bench

int main(int argc, char** argv) {
  const std::optional<trove_bench::Options> options = trove_bench::parseOptions(argc, argv);
  if (!options) {
    std::fprintf(stderr,
                 "usage: %s [--shapes=typical-1mb,typical-10mb,wide,deep,siblings] "
                 "[--libraries=NAME,...] [--budget=SECONDS] [--min-time=SECONDS] [--quick]\n",
                 argv[0]);
    return 2;
  }
  try {
    return trove_bench::run(*options);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "bench_load: %s\n", error.what());
    return 1;
  }
}

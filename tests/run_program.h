// Running a program (the built trove tool, or a helper such as xmllint) in a
// scratch directory with both output streams captured; several may run at
// once.
#pragma once

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "store_files.h"

namespace store_test {

struct Outcome {
  int status = -1;  // the exit status, or -1 when the program did not exit
  std::string out;
  std::string err;
};

struct RunningProgram {
  pid_t pid = -1;
  std::string outFile, errFile;
};

// Starts `program` (looked up in PATH unless it holds a "/") with `args` in
// `directory`. `tag` tells the output files of programs running at once apart.
inline RunningProgram startProgram(const std::string& program, const std::vector<std::string>& args,
                                   const ScratchDirectory& directory, const std::string& tag = "") {
  RunningProgram run{-1, directory.file(".out" + tag), directory.file(".err" + tag)};
  run.pid = fork();
  if (run.pid == 0) {
    if (chdir(directory.path().c_str()) != 0) _exit(125);
    const int out = open(run.outFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    const int err = open(run.errFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (out < 0 || err < 0 || dup2(out, 1) < 0 || dup2(err, 2) < 0) _exit(125);
    std::vector<char*> argv{const_cast<char*>(program.c_str())};
    for (const std::string& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);
    execvp(program.c_str(), argv.data());
    _exit(127);
  }
  return run;
}

// Waits for the program and collects what it printed.
inline Outcome finishProgram(const RunningProgram& run) {
  Outcome outcome;
  int status = 0;
  if (run.pid > 0 && waitpid(run.pid, &status, 0) == run.pid && WIFEXITED(status)) {
    outcome.status = WEXITSTATUS(status);
  }
  outcome.out = readFile(run.outFile);
  outcome.err = readFile(run.errFile);
  std::filesystem::remove(run.outFile);
  std::filesystem::remove(run.errFile);
  return outcome;
}

inline Outcome runProgram(const std::string& program, const std::vector<std::string>& args,
                          const ScratchDirectory& directory) {
  return finishProgram(startProgram(program, args, directory));
}

}  // namespace store_test

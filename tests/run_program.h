// Running a program (the built trove tool, or a helper such as xmllint) in a
// scratch directory with both output streams captured; several may run at once.
#pragma once

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vector>

#include "store_files.h"

namespace store_test {

struct Outcome {
  int status = -1;  // the exit status, or -1 when the program did not exit
  std::string out, err;
};

struct RunningProgram {
  pid_t pid = -1;
  std::string outFile, errFile;
};

// Starts `program` (looked up in PATH unless it holds a "/") in `directory`
// with `input` on standard input and `environment` ("NAME=value") added; `tag`
// tells the files of programs running at once apart.
inline RunningProgram startProgram(const std::string& program, const std::vector<std::string>& args,
                                   const ScratchDirectory& directory, const std::string& tag = "",
                                   const std::string& input = "",
                                   const std::vector<std::string>& environment = {}) {
  RunningProgram run{-1, directory.file(".out" + tag), directory.file(".err" + tag)};
  const std::string inFile = input.empty() ? "/dev/null" : directory.file(".in" + tag);
  if (!input.empty()) writeFile(inFile, input);
  run.pid = fork();
  if (run.pid == 0) {
    const int in = open(inFile.c_str(), O_RDONLY);
    const int out = open(run.outFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    const int err = open(run.errFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (chdir(directory.path().c_str()) != 0 || in < 0 || out < 0 || err < 0 || dup2(in, 0) < 0 ||
        dup2(out, 1) < 0 || dup2(err, 2) < 0) {
      _exit(125);
    }
    if (!input.empty()) unlink(inFile.c_str());
    for (const std::string& setting : environment) putenv(const_cast<char*>(setting.c_str()));
    std::vector<char*> argv{const_cast<char*>(program.c_str())};
    for (const std::string& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);
    execvp(program.c_str(), argv.data());
    _exit(127);
  }
  return run;
}

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
                          const ScratchDirectory& directory, const std::string& input = "",
                          const std::vector<std::string>& environment = {}) {
  return finishProgram(startProgram(program, args, directory, "", input, environment));
}

}  // namespace store_test

// A row that times whole processes.
#pragma once

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

// Runs the program once a round and drops what it prints. The row fails when the program does.
inline void processRow(benchmark::State& state, std::vector<std::string> words) {
    std::vector<char*> pointers;
    for (auto& word : words) pointers.push_back(word.data());
    pointers.push_back(nullptr);
    posix_spawn_file_actions_t quiet;
    posix_spawn_file_actions_init(&quiet);
    posix_spawn_file_actions_addopen(&quiet, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    for (auto round : state) {
        pid_t child = 0;
        int status = 1;
        if (posix_spawnp(&child, pointers[0], &quiet, nullptr, pointers.data(), environ) != 0)
            return state.SkipWithError("the program does not start");
        waitpid(child, &status, 0);
        if (status != 0) return state.SkipWithError("the program failed");
    }
    posix_spawn_file_actions_destroy(&quiet);
}

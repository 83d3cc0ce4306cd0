// Child processes for tests.
#include "host/child.h"

#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>
#include <array>
#include <csignal>
#include <cstdio>
#include <exception>
#include <stdexcept>

namespace host_test {

namespace {

constexpr unsigned secondsToLive = 60;

struct Child {
    pid_t id;
    int pipe;
};

Child start(const std::function<void(int pipe)>& body) {
    std::array<int, 2> pipes{};
    if (pipe(pipes.data()) != 0) throw std::runtime_error("no pipe");
    std::fflush(nullptr);
    const pid_t id = fork();
    if (id < 0) throw std::runtime_error("no child process");
    if (id == 0) {
        close(pipes[0]);
        alarm(secondsToLive);
        body(pipes[1]);
        _exit(0);
    }
    close(pipes[1]);
    return {id, pipes[0]};
}

void send(int pipe, const std::string& text) {
    if (write(pipe, text.data(), text.size()) != static_cast<ssize_t>(text.size())) _exit(9);
}

ChildResult finish(const Child& child, std::string output) {
    ChildResult result;
    std::array<char, 1024> buffer{};
    for (ssize_t got = 0; (got = read(child.pipe, buffer.data(), buffer.size())) > 0;)
        output.append(buffer.data(), static_cast<std::size_t>(got));
    close(child.pipe);
    int status = 0;
    waitpid(child.id, &status, 0);
    if (WIFEXITED(status)) result.exitStatus = WEXITSTATUS(status);
    if (WIFSIGNALED(status)) result.signal = WTERMSIG(status);
    result.output = std::move(output);
    return result;
}

}  // namespace

ChildResult inChild(const std::function<std::string()>& body) {
    const Child child = start([&](int pipe) {
        try {
            send(pipe, body());
        } catch (const std::exception& error) {
            send(pipe, std::string("exception: ") + error.what());
        }
    });
    return finish(child, {});
}

ChildResult killedWhenReady(const std::function<void(const std::function<void()>& ready)>& body) {
    const Child child = start([&](int pipe) {
        try {
            body([&] {
                send(pipe, "ready");
                pause();
            });
        } catch (const std::exception& error) {
            send(pipe, std::string("exception: ") + error.what());
        }
    });
    std::array<char, 256> buffer{};
    const ssize_t got = read(child.pipe, buffer.data(), buffer.size());
    kill(child.id, SIGKILL);
    return finish(child, got > 0 ? std::string(buffer.data(), static_cast<std::size_t>(got)) : std::string());
}

}  // namespace host_test

/*
** One analysis in a child process ("rkdd lsp-analyze"): the text to its input,
** the answer from its output, within a time limit past which it is killed.
*/
#include "lsp.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>

extern char **environ;

namespace {

long long nowMs() {
  timespec t;
  clock_gettime(CLOCK_MONOTONIC, &t);
  return t.tv_sec * 1000LL + t.tv_nsec / 1000000;
}

Json failure(const std::string &id, const std::string &message) {
  return {{"messages", Json::array({Json{{"line", 0}, {"column", 0}, {"severity", 1}, {"id", id},
                                         {"message", message}}})}};
}

/* A running child with a pipe to its standard input and one from its output. */
struct Child {
  pid_t pid = -1;
  int in = -1, out = -1;
  ~Child() {
    if (in >= 0) close(in);
    if (out >= 0) close(out);
    if (pid > 0) {
      kill(pid, SIGKILL); /* nothing once it has ended; waitpid then reaps it */
      waitpid(pid, nullptr, 0);
    }
  }
};

bool start(Child &child) {
  int toChild[2], fromChild[2];
  if (pipe2(toChild, O_CLOEXEC) != 0) return false;
  if (pipe2(fromChild, O_CLOEXEC) != 0) {
    close(toChild[0]), close(toChild[1]);
    return false;
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, toChild[0], STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, fromChild[1], STDOUT_FILENO);
  char name[] = "rkdd", command[] = "lsp-analyze";
  char *argv[] = {name, command, nullptr};
  /* The program of this process, even when its file was replaced since. */
  int failed = posix_spawn(&child.pid, "/proc/self/exe", &actions, nullptr, argv, environ);
  posix_spawn_file_actions_destroy(&actions);
  close(toChild[0]), close(fromChild[1]);
  child.in = toChild[1], child.out = fromChild[0];
  if (failed) child.pid = -1;
  fcntl(child.in, F_SETFL, O_NONBLOCK);
  return !failed;
}

/* Writes text and reads the answer until the child closes its output. Gives
** null then, or why it stopped: the deadline passed, the answer outgrew
** its limit, or the pipes failed. */
const char *exchange(Child &child, const std::string &text, std::string &answer, long long deadline) {
  size_t written = 0;
  if (text.empty()) close(child.in), child.in = -1;
  char chunk[65536];
  for (;;) {
    pollfd fds[2] = {{child.out, POLLIN, 0}, {child.in, POLLOUT, 0}};
    long long left = deadline - nowMs();
    if (left <= 0) return "took longer than the time limit and was stopped";
    if (poll(fds, child.in >= 0 ? 2 : 1, static_cast<int>(left)) < 0 && errno != EINTR) return "lost its pipes";
    if (child.in >= 0 && (fds[1].revents & (POLLOUT | POLLERR | POLLHUP))) {
      ssize_t n = write(child.in, text.data() + written, text.size() - written);
      if (n > 0) written += static_cast<size_t>(n);
      if ((n < 0 && errno != EAGAIN) || written == text.size()) close(child.in), child.in = -1;
    }
    if (fds[0].revents & (POLLIN | POLLHUP | POLLERR)) {
      ssize_t n = read(child.out, chunk, sizeof chunk);
      if (n == 0) return nullptr;
      if (n < 0 && errno != EINTR && errno != EAGAIN) return "lost its pipes";
      if (n > 0) answer.append(chunk, static_cast<size_t>(n));
      if (answer.size() > LSP_MAX_ANSWER) return "gave a larger answer than the server takes";
    }
  }
}

} // namespace

Json runAnalysis(const std::string &text, int timeoutMs) {
  Child child;
  if (!start(child)) return failure("analysis-failed", "the analysis could not be started");
  std::string answer;
  if (const char *why = exchange(child, text, answer, nowMs() + timeoutMs))
    return failure("analysis-stopped", std::string("the analysis ") + why + " (" + std::to_string(timeoutMs) + " ms)");
  int status = 0;
  waitpid(child.pid, &status, 0);
  child.pid = -1;
  Json parsed = Json::parse(answer, nullptr, false);
  if (!WIFEXITED(status) || parsed.is_discarded() || !parsed.is_object())
    return failure("analysis-failed", "the analysis ended without an answer (status " + std::to_string(status) + ")");
  return parsed;
}

/*
** The CPU clock and the child process that each measurement of an import
** runs in, so that every one starts from an empty site table.
*/
#include "child.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>

namespace bench {

double cpuNow() {
  timespec t;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

double inChild(const std::function<double()> &job) {
  int fds[2];
  if (pipe(fds) != 0) return -1;
  std::fflush(nullptr);
  pid_t pid = fork();
  if (pid == 0) {
    close(fds[0]);
    int null = open("/dev/null", O_WRONLY);
    dup2(null, 1);
    double value = job();
    _exit(write(fds[1], &value, sizeof value) == sizeof value ? 0 : 1);
  }
  close(fds[1]);
  double value = -1;
  if (pid < 0 || read(fds[0], &value, sizeof value) != sizeof value) value = -1;
  close(fds[0]);
  int status = 0;
  if (pid > 0) waitpid(pid, &status, 0);
  return status == 0 ? value : -1;
}

} // namespace bench

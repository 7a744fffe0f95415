#include "platform/foundation/process.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <thread>
#include <vector>

extern char** environ;

namespace foundation {

namespace {

class process_impl_t : public IProcess {
 public:
  ~process_impl_t() override {
    // A child must not outlive the object that could end it unnoticed.
    if (pid_ > 0) terminate();
  }

  error_code_t start(const char* program, generic_iterator_t<std::string> args, sptr_t<IEnvironment> environment,
                     int stdinMode, int stdoutMode, int stderrMode, int searchPath) override {
    if (pid_ > 0 || program == nullptr || *program == '\0') return ec_not_started;
    std::vector<std::string> argStore{program};
    for (; !args.at_end(); args.next()) argStore.push_back(args.current());
    std::vector<char*> argv;
    for (auto& a : argStore) argv.push_back(a.data());
    argv.push_back(nullptr);

    std::vector<std::string> envStore;
    std::vector<char*> envp;
    char** envArg = environ;
    if (environment) {
      for (auto it = environment->entries(); !it.at_end(); it.next()) envStore.push_back(it.current());
      for (auto& e : envStore) envp.push_back(e.data());
      envp.push_back(nullptr);
      envArg = envp.data();
    }

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    const int modes[3] = {stdinMode, stdoutMode, stderrMode};
    for (int fd = 0; fd < 3; ++fd) {
      if (modes[fd] == 1) posix_spawn_file_actions_addopen(&actions, fd, "/dev/null", fd == 0 ? O_RDONLY : O_WRONLY, 0);
    }
    pid_t pid = -1;
    int rc = searchPath == 1 ? posix_spawnp(&pid, program, &actions, nullptr, argv.data(), envArg)
                             : posix_spawn(&pid, program, &actions, nullptr, argv.data(), envArg);
    posix_spawn_file_actions_destroy(&actions);
    if (rc != 0) return ec_not_started;
    pid_ = pid;
    exitCode_ = -1;
    return ec_ok;
  }

  error_code_t wait(int timeoutMs) override {
    if (pid_ <= 0) return ec_not_started;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs < 0 ? 0 : timeoutMs);
    for (;;) {
      int status = 0;
      pid_t r = ::waitpid(pid_, &status, WNOHANG);
      if (r == pid_) {
        record(status);
        return ec_ok;
      }
      if (r < 0 && errno != EINTR) {
        pid_ = -1;
        return ec_failed;
      }
      if (std::chrono::steady_clock::now() >= deadline) return ec_still_running;
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
  }

  error_code_t terminate() override {
    if (pid_ <= 0) return ec_not_started;
    ::kill(pid_, SIGTERM);
    if (wait(2000) == ec_ok) return ec_ok;
    ::kill(pid_, SIGKILL);
    return wait(5000) == ec_ok ? ec_ok : ec_failed;
  }

  int exitCode() const override { return exitCode_; }

 private:
  void record(int status) {
    if (WIFEXITED(status)) exitCode_ = WEXITSTATUS(status);
    else if (WIFSIGNALED(status)) exitCode_ = 128 + WTERMSIG(status);
    pid_ = -1;
  }

  pid_t pid_ = -1;
  int exitCode_ = -1;
};

}  // namespace

sptr_t<IProcess> IProcess::create() { return pool_allocate<process_impl_t, IProcess>(); }

}  // namespace foundation

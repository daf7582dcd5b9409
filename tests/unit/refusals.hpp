// Ways to have the system refuse what a function asks of it.
#pragma once

#include <sys/resource.h>

#include <functional>

/// While it stands, the process can open no descriptor; those that are open stay so.
class NoDescriptors {
  public:
    NoDescriptors();
    ~NoDescriptors();
    NoDescriptors(const NoDescriptors&) = delete;
    NoDescriptors& operator=(const NoDescriptors&) = delete;

  private:
    rlimit before_{};
};

/// Makes `call` in a child process to which the system call with the number `refused` is denied,
/// with EACCES, whenever its second argument, masked with `mask`, is `second`; and to what it
/// starts. Returns what `call` returned, from -128 to 127; -100 when the child ended in another
/// way.
int resultWithRefusal(unsigned int refused, unsigned int mask, unsigned int second,
                      const std::function<int()>& call);

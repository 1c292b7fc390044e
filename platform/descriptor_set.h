#pragma once
// A set of watched descriptors that is itself one descriptor: it turns readable whenever a member meets
// one of its conditions. A toolkit loop that only knows "readable" and "writable" watches that single
// descriptor and asks the set what happened, so hang-ups and errors reach the program even while a member
// is paused (the serial control pauses reading when its input buffer is full but must still see the
// device go away).

#include <cstdint>
#include <vector>

namespace platform {

class DescriptorSet {
 public:
  struct Ready {
    uint64_t key = 0;
    unsigned conditions = 0;  // IoCondition flags
  };

  DescriptorSet();
  ~DescriptorSet();
  DescriptorSet(const DescriptorSet&) = delete;
  DescriptorSet& operator=(const DescriptorSet&) = delete;

  // The descriptor to watch for reading; -1 when the set could not be created.
  int Fd() const { return set_fd_; }
  // Adds the member `key` or changes its conditions (IoCondition flags; hang-up and error are always
  // reported). The same descriptor may belong to several members. False when it cannot be watched.
  bool Set(uint64_t key, int fd, unsigned conditions);
  // Takes a member out; unknown keys are ignored. The descriptor itself is left open.
  void Remove(uint64_t key);
  // The members that are ready now, without waiting.
  std::vector<Ready> Poll();

 private:
  struct Member;
  int set_fd_ = -1;
  std::vector<Member> members_;
};

}  // namespace platform

#include "platform/descriptor_set.h"

#include <fcntl.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "platform/event_loop.h"

namespace platform {

struct DescriptorSet::Member {
  uint64_t key = 0;
  int registered_fd = -1;
  bool owns_fd = false;  // a duplicate made because another member watches the same descriptor
};

namespace {

uint32_t ToEpollEvents(unsigned conditions) {
  uint32_t events = 0;
  if (conditions & kIoReadable) events |= EPOLLIN;
  if (conditions & kIoWritable) events |= EPOLLOUT;
  return events;  // EPOLLHUP and EPOLLERR are always reported
}

unsigned FromEpollEvents(uint32_t events) {
  unsigned conditions = 0;
  if (events & EPOLLIN) conditions |= kIoReadable;
  if (events & EPOLLOUT) conditions |= kIoWritable;
  if (events & EPOLLHUP) conditions |= kIoHangup;
  if (events & EPOLLERR) conditions |= kIoError;
  return conditions;
}

}  // namespace

DescriptorSet::DescriptorSet() : set_fd_(epoll_create1(EPOLL_CLOEXEC)) {}

DescriptorSet::~DescriptorSet() {
  for (const Member& m : members_) {
    if (m.owns_fd) close(m.registered_fd);
  }
  if (set_fd_ >= 0) close(set_fd_);
}

bool DescriptorSet::Set(uint64_t key, int fd, unsigned conditions) {
  if (set_fd_ < 0 || fd < 0) return false;
  epoll_event event{};
  event.events = ToEpollEvents(conditions);
  event.data.u64 = key;
  auto it = std::find_if(members_.begin(), members_.end(), [key](const Member& m) { return m.key == key; });
  if (it != members_.end()) return epoll_ctl(set_fd_, EPOLL_CTL_MOD, it->registered_fd, &event) == 0;

  Member member{key, fd, false};
  if (epoll_ctl(set_fd_, EPOLL_CTL_ADD, fd, &event) != 0) {
    if (errno != EEXIST) return false;
    // epoll takes each descriptor once; a duplicate is a second entry for the same open file.
    member.registered_fd = fcntl(fd, F_DUPFD_CLOEXEC, 0);
    member.owns_fd = true;
    if (member.registered_fd < 0) return false;
    if (epoll_ctl(set_fd_, EPOLL_CTL_ADD, member.registered_fd, &event) != 0) {
      close(member.registered_fd);
      return false;
    }
  }
  members_.push_back(member);
  return true;
}

void DescriptorSet::Remove(uint64_t key) {
  auto it = std::find_if(members_.begin(), members_.end(), [key](const Member& m) { return m.key == key; });
  if (it == members_.end()) return;
  // Fails harmlessly when the owner closed the descriptor first: the kernel dropped it already.
  epoll_ctl(set_fd_, EPOLL_CTL_DEL, it->registered_fd, nullptr);
  if (it->owns_fd) close(it->registered_fd);
  members_.erase(it);
}

std::vector<DescriptorSet::Ready> DescriptorSet::Poll() {
  std::vector<Ready> ready;
  if (set_fd_ < 0 || members_.empty()) return ready;
  std::vector<epoll_event> events(members_.size());
  int n;
  do {
    n = epoll_wait(set_fd_, events.data(), static_cast<int>(events.size()), 0);
  } while (n < 0 && errno == EINTR);
  for (int i = 0; i < n; ++i) ready.push_back({events[i].data.u64, FromEpollEvents(events[i].events)});
  return ready;
}

}  // namespace platform

#pragma once
// How an event handler fails: whatever it throws is caught and reported in one line, the handler's name,
// " - " and the description, and the program goes on with its other work.

#include <exception>
#include <functional>
#include <string>

inline void TrapHandler(const char* handler, const std::function<void()>& body,
                        const std::function<void(const std::string& line)>& report) {
  try {
    body();
  } catch (const std::exception& error) {
    report(std::string(handler) + " - " + error.what());
  } catch (...) {
    report(std::string(handler) + " - unknown error");
  }
}

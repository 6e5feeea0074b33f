// What `vantelctl probe` found, finding by finding in the order met: a line
// for people, printed as soon as it is found, or the same findings with
// their values as one JSON object at the end, for machines. Client only;
// main thread.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace vantelctl {

// JSON texts of values; camera text that is not UTF-8 has its bad bytes
// shown as U+FFFD, so what is printed is always valid JSON.
std::string json_text(const std::string& text);
std::string json_number(long long value);
std::string json_bool(bool value);
std::string json_list(const std::vector<std::string>& values);  // values as JSON already

struct Finding {
  Finding(std::string kind_, std::string text_) : kind(std::move(kind_)), text(std::move(text_)) {}
  // A member of the finding's JSON object; `value` is JSON already.
  Finding& with(const std::string& name, const std::string& value) {
    members.emplace_back(name, value);
    return *this;
  }
  std::string kind;  // "reached", "clock", "profile", ...
  std::string text;
  std::vector<std::pair<std::string, std::string>> members;
};

class Findings {
 public:
  explicit Findings(bool json) : json_(json) {}
  // Printed at once as "KIND: TEXT" (not with --json).
  void add(const Finding& finding);
  // The last line, or with --json the whole object: {"camera": ...,
  // "findings": [{"kind": ..., "text": ..., members...}, ...], "verdict":
  // verdict_json, "exit_status": N}.
  void finish(const std::string& camera, const Finding& verdict, int exit_status);

 private:
  bool json_;
  std::vector<std::string> objects_;
};

}  // namespace vantelctl

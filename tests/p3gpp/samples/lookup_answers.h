// Lookups as short calls with answers as texts, for an opened track and for the model of one alike.
#ifndef ZDR_TESTS_P3GPP_LOOKUP_ANSWERS_H
#define ZDR_TESTS_P3GPP_LOOKUP_ANSWERS_H

#include <algorithm>
#include <string>

#include "p3gpp/p3gpp.h"

namespace zdr::test {

inline std::string sample_text(const P3gppSample& sample) {
  std::string text = std::to_string(sample.file_offset);
  for (const uint32_t field :
       {sample.size, sample.description_index, sample.decoding_time, sample.composition_time}) {
    text += ':' + std::to_string(field);
  }
  return text;
}

// Fields of a record that a call does not write keep what stood there, as with a caller that reuses it.
template <typename Track>
class LookupAnswers {
 public:
  explicit LookupAnswers(Track& track) : track_(track) {}

  // A failed call answers its status. The others:
  //   'o' offset:size:description:decoding:composition of a sample   'd' decoding:composition
  //   't' number@time of the sample at a time                        's' 1 for a sync sample, else 0
  //   'f', 'b' the sync sample forward and backward from a sample
  std::string operator()(char call, uint32_t argument) {
    std::string answer;
    const int32_t status = ask(call, argument, answer);
    if (status == P3GPP_OK) return answer;
    record_ = {};  // what a failed call leaves is not fixed
    return std::to_string(status);
  }
  uint32_t decoding_time() const { return record_.decoding_time; }

  // Answers calls as they stand in `script`: "t1500=1@0 o2=-6008".
  std::string replay(const std::string& script) {
    std::string done;
    for (size_t at = 0; at < script.size(); at = script.find(' ', at) + 1) {
      if (at != 0) done += ' ';
      const std::string call = script.substr(at, script.find('=', at) - at);
      done += call + '=' + (*this)(call[0], static_cast<uint32_t>(std::stoul(call.substr(1))));
      if (script.find(' ', at) == std::string::npos) break;
    }
    return done;
  }

 private:
  int32_t ask(char call, uint32_t argument, std::string& answer) {
    uint32_t number = argument;
    int32_t flag = 0;
    int32_t status = P3GPP_OK;
    const auto text = [](uint64_t value) { return std::to_string(value); };
    switch (call) {
      case 'o':
        record_.number = argument;
        status = track_.locate(record_);
        answer = sample_text(record_);
        return status;
      case 'd':
        status = track_.sample_times(argument, record_.decoding_time, record_.composition_time);
        answer = text(record_.decoding_time) + ':' + text(record_.composition_time);
        return status;
      case 't':
        status = track_.time_to_sample(argument, number);
        answer = text(number) + '@' + text(argument);
        return status;
      case 's':
        status = track_.is_sync(argument, flag);
        answer = text(static_cast<uint32_t>(flag));
        return status;
      default:
        status = track_.find_sync(number, call == 'f' ? 1 : 0);
        answer = text(number);
        return status;
    }
  }

  Track& track_;
  P3gppSample record_{};
};

}  // namespace zdr::test

#endif

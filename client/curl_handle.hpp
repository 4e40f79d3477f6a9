// libcurl's handles, owned.
#pragma once

#include <curl/curl.h>

#include <array>
#include <memory>
#include <new>
#include <string>

namespace hnap {

struct HttpRequest;

class CurlHandle {
 public:
  CurlHandle() : handle_(curl_easy_init(), &curl_easy_cleanup) {
    if (!handle_) throw std::bad_alloc();
    set(CURLOPT_ERRORBUFFER, error_->data());
  }

  /// An option that libcurl has since before the oldest version we build with: setting it does not fail.
  template <typename Value>
  void set(CURLoption option, Value value) const {
    curl_easy_setopt(handle_.get(), option, value);
  }

  CURL* get() const { return handle_.get(); }

  /// What went wrong, as precisely as libcurl knows it.
  std::string error_text(CURLcode code) const {
    return error_->front() ? error_->data() : curl_easy_strerror(code);
  }

 private:
  std::unique_ptr<std::array<char, CURL_ERROR_SIZE>> error_ =
      std::make_unique<std::array<char, CURL_ERROR_SIZE>>();
  std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> handle_;
};

class CurlList {
 public:
  void add(const std::string& line) {
    curl_slist* const longer = curl_slist_append(list_.get(), line.c_str());
    if (!longer) throw std::bad_alloc();
    static_cast<void>(list_.release());
    list_.reset(longer);
  }

  curl_slist* get() const { return list_.get(); }

 private:
  std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> list_{nullptr, &curl_slist_free_all};
};

/// What every request of ours has in common.
void set_common(const CurlHandle& curl, const HttpRequest& request);

}  // namespace hnap

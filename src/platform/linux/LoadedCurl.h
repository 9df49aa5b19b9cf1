#pragma once

#include <curl/curl.h>

namespace brindlewick::curl {

/// A shared library that is loaded by name while the program runs, for good.
class SharedLibrary {
 public:
  /// Throws PlatformError when it is not there or cannot be loaded.
  explicit SharedLibrary(const char* name);

  /// The address of a function. Throws PlatformError when the library has none of this name.
  template <typename Function>
  [[nodiscard]] Function find(const char* function) const {
    return reinterpret_cast<Function>(address(function));
  }

 private:
  [[nodiscard]] void* address(const char* function) const;

  const char* name_;
  void* handle_;
};

/// The functions of libcurl that this program calls, each of the type that its header declares.
struct Functions {
  SharedLibrary library;
  decltype(&::curl_easy_cleanup) easyCleanup = library.find<decltype(easyCleanup)>("curl_easy_cleanup");
  decltype(&::curl_easy_getinfo) easyGetinfo = library.find<decltype(easyGetinfo)>("curl_easy_getinfo");
  decltype(&::curl_easy_header) easyHeader = library.find<decltype(easyHeader)>("curl_easy_header");
  decltype(&::curl_easy_init) easyInit = library.find<decltype(easyInit)>("curl_easy_init");
  decltype(&::curl_easy_perform) easyPerform = library.find<decltype(easyPerform)>("curl_easy_perform");
  decltype(&::curl_easy_setopt) easySetopt = library.find<decltype(easySetopt)>("curl_easy_setopt");
  decltype(&::curl_easy_strerror) easyStrerror = library.find<decltype(easyStrerror)>("curl_easy_strerror");
  decltype(&::curl_global_init) globalInit = library.find<decltype(globalInit)>("curl_global_init");
  decltype(&::curl_slist_append) slistAppend = library.find<decltype(slistAppend)>("curl_slist_append");
  decltype(&::curl_slist_free_all) slistFreeAll = library.find<decltype(slistFreeAll)>("curl_slist_free_all");
  decltype(&::curl_url) url = library.find<decltype(url)>("curl_url");
  decltype(&::curl_url_cleanup) urlCleanup = library.find<decltype(urlCleanup)>("curl_url_cleanup");
  decltype(&::curl_url_set) urlSet = library.find<decltype(urlSet)>("curl_url_set");
  decltype(&::curl_version_info) versionInfo = library.find<decltype(versionInfo)>("curl_version_info");
};

/// libcurl, loaded by the first call: it brings some thirty libraries, which only a transfer needs, and no process that
/// signs or installs. Throws PlatformError when it cannot be loaded, lacks one of the functions, is older than 7.88, or
/// was built to look names up on the thread that calls it.
[[nodiscard]] const Functions& libcurl();

}  // namespace brindlewick::curl

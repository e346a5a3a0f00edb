#include "save_network.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "failure.h"
#include "files.h"
#include "formats.h"
#include "network_format.h"
#include "progress.h"

namespace program {
namespace {

void write(tv_domain_t* domain, const std::string& subject, const FileWriter& out,
           const std::string& format) {
  if (format == "net") {
    errno = 0;
    const tv_status_t status = tv_domain_write_net(domain, out.stream());
    if (status == tv_status_io && errno) out.fail(std::strerror(errno));
    return expect(status, subject);
  }
  try {
    const std::string text = format == "bif" ? formats::write_bif(domain) : formats::write_xmlbif(domain);
    std::fwrite(text.data(), 1, text.size(), out.stream());  // failures are noticed when the file is complete
  } catch (const formats::Error& error) {
    throw Failure(kFailed, subject + ": " + error.what());
  }
}

}  // namespace

void save_network(tv_domain_t* domain, const std::string& subject, const std::string& to,
                  const std::string& format) {
  const Activity writing("writing " + shown_file(to));
  FileWriter out(to);
  write(domain, subject, out, format.empty() ? format_of(to) : format);
  out.commit();
}

}  // namespace program

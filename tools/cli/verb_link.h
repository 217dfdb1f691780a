// The link of the instrument and transfer verbs: the editor's link settings
// changed by --link, --baud and --slow, and the hex dump of --trace.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

#include "link/link.h"
#include "link/transport.h"

namespace quelvari::cli {

class VerbLink {
  public:
    // --link usb|serial:DEVICE|sim[:DIR], --baud N (empty: as set), --slow,
    // --trace FILE (empty: none). 0, or the exit status after the reason was
    // printed: a wrong option, or a trace file that cannot be written.
    int open(const std::string& linkSpec, const std::string& baud, bool slow,
             const std::string& tracePath);

    link::Link link;

  private:
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> traceFile_{nullptr, std::fclose};
    link::Trace trace_{nullptr};
};

// The catalogue message of `code` (or the -99 text) and the link's detail
// lines, on stderr.
void PrintLinkFailure(link::Link& link, int code);

}  // namespace quelvari::cli

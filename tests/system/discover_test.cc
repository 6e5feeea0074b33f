// vantelctl discover by unicast on loopback: against camsim's discovery
// responder, and against a responder of the test's own that answers the
// probe with garbage, foreign and oversized answers before the good ones.
// The daemon is not involved.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "harness.h"

namespace vantel_test {
namespace {

using json = nlohmann::json;

struct Printed {
  int status;
  std::string output;  // stdout and stderr
  std::vector<json> devices;  // the lines that are JSON objects
};

Printed discover(const std::vector<std::string>& options) {
  std::vector<std::string> argv = {VANTELCTL_BIN, "discover", "--timeout", "0.7"};
  argv.insert(argv.end(), options.begin(), options.end());
  const std::string out_path = temp_path("discover.out");
  ProcessGroup ctl;
  ctl.start(argv, out_path);
  Printed run{ctl.wait_leader(20000), read_text(out_path), {}};
  std::istringstream lines(run.output);
  for (std::string line; std::getline(lines, line);)
    if (!line.empty() && line[0] == '{') run.devices.push_back(json::parse(line));
  return run;
}

int read_port(const std::string& path) {
  for (int i = 0; i < 500; ++i) {
    const std::string text = read_text(path);
    if (!text.empty() && text.back() == '\n') return std::stoi(text);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return 0;
}

TEST(Discover, ListsCamsimAsATableAndAsJsonAndExitsByWhatAnswered) {
  const std::string config = temp_path("camsim.json"), port_file = temp_path("discovery.port");
  std::ofstream(config) << json{{"location", "Gate 2 / S\u00fcd"}}.dump();
  Camsim camera(Camsim::Command{{"--config", config, "--discovery-port", "0", "--discovery-port-file", port_file}});
  const std::string to = "127.0.0.1:" + std::to_string(read_port(port_file));
  const std::string xaddr = "http://127.0.0.1:" + std::to_string(camera.port()) + "/onvif/device_service";

  const Printed table = discover({"--to", to});
  EXPECT_EQ(0, table.status);
  const std::string row = table.output.substr(table.output.find('\n') + 1);
  // Widths in characters: the location has a two-byte one.
  EXPECT_EQ(0u, table.output.find("NAME                     HARDWARE  LOCATION      ENDPOINT")) << table.output;
  for (const char* cell : {"Kestrel Optics KPT-2120  KPT-2120  Gate 2 / S\u00fcd  urn:uuid:", "  http"})
    EXPECT_NE(std::string::npos, row.find(cell)) << table.output;
  EXPECT_EQ(row.size() - xaddr.size() - 1, row.find(xaddr)) << "one row, the XAddr last:\n" << table.output;

  // Probed twice, it answered twice: one camera all the same.
  const Printed machine = discover({"--json", "--to", to});
  EXPECT_EQ(0, machine.status);
  ASSERT_EQ(1u, machine.devices.size()) << machine.output;
  EXPECT_EQ((json{{"xaddrs", {xaddr}}, {"name", "Kestrel Optics KPT-2120"}, {"hardware", "KPT-2120"},
                  {"location", "Gate 2 / S\u00fcd"}, {"endpoint", machine.devices[0]["endpoint"]}}),
            machine.devices[0]);
  EXPECT_EQ(0u, machine.devices[0]["endpoint"].get<std::string>().find("urn:uuid:"));

  camera.stop();
  const Printed silent = discover({"--to", to});
  EXPECT_EQ(1, silent.status);
  EXPECT_NE(std::string::npos, silent.output.find("no camera answered within 0.7 s")) << silent.output;
  for (const std::vector<std::string>& bad : {std::vector<std::string>{"--to", "127.0.0.1:70000"},
                                             {"--to", "::1"}, {"--timeout", "0"}, {"--unknown"}})
    EXPECT_EQ(2, discover(bad).status) << bad[0];
}

// A camera on the test's own port: answers the first probe it receives
// with `answers(MessageID)`, one datagram each, and ignores the second.
class Responder {
 public:
  explicit Responder(std::function<std::vector<std::string>(const std::string&)> answers) {
    fd_ = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address);
    getsockname(fd_, reinterpret_cast<sockaddr*>(&address), &length);
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this, answers] {
      pollfd readable{fd_, POLLIN, 0};
      if (poll(&readable, 1, 10000) != 1) return;
      char probe[65536];
      sockaddr_in from{};
      socklen_t from_length = sizeof from;
      const ssize_t n = recvfrom(fd_, probe, sizeof probe, 0, reinterpret_cast<sockaddr*>(&from), &from_length);
      const std::string text(probe, n > 0 ? static_cast<size_t>(n) : 0);
      const size_t id = text.find("urn:uuid:");
      if (id == std::string::npos) return;
      for (const std::string& answer : answers(text.substr(id, text.find('<', id) - id)))
        sendto(fd_, answer.data(), answer.size(), 0, reinterpret_cast<sockaddr*>(&from), from_length);
    });
  }
  ~Responder() {
    thread_.join();
    close(fd_);
  }
  std::string to() const { return "127.0.0.1:" + std::to_string(port_); }

 private:
  int fd_ = -1, port_ = 0;
  std::thread thread_;
};

std::string envelope(const std::string& relates_to, const std::string& matches) {
  return "<e:Envelope xmlns:e=\"http://www.w3.org/2003/05/soap-envelope\" "
         "xmlns:w=\"http://schemas.xmlsoap.org/ws/2004/08/addressing\" "
         "xmlns:d=\"http://schemas.xmlsoap.org/ws/2005/04/discovery\"><e:Header>" + relates_to +
         "</e:Header><e:Body><d:ProbeMatches>" + matches + "</d:ProbeMatches></e:Body></e:Envelope>";
}

std::string match(const std::string& name, const std::string& xaddrs) {
  return "<d:ProbeMatch><w:EndpointReference><w:Address>urn:uuid:" + name + "</w:Address></w:EndpointReference>"
         "<d:Scopes>onvif://www.onvif.org/name/" + name + "</d:Scopes><d:XAddrs>" + xaddrs +
         "</d:XAddrs></d:ProbeMatch>";
}

// The same prefixes on the namespace of the next discovery version.
std::string other_discovery_version(std::string answer) {
  const std::string ours = "ws/2005/04/discovery";
  answer.replace(answer.find(ours), ours.size(), "ws/2009/01/discovery");
  return answer;
}

TEST(Discover, ListsOnlyWellFormedAnswersToItsProbeAndBoundsThem) {
  Responder responder([](const std::string& id) {
    const std::string ours = "<w:RelatesTo>" + id + "</w:RelatesTo>";
    // Default namespaces, other prefixes, comments, CDATA, Scopes before
    // Types, MatchBy, two XAddrs, a match without Scopes.
    const std::string odd =
        "<?xml version='1.0'?><!-- fw 5.1 --><SOAP-ENV:Envelope xmlns:SOAP-ENV='http://www.w3.org/2003/05/"
        "soap-envelope'><SOAP-ENV:Header><RelatesTo xmlns='http://schemas.xmlsoap.org/ws/2004/08/addressing'>\n " +
        id + " </RelatesTo></SOAP-ENV:Header><SOAP-ENV:Body><ProbeMatches xmlns="
        "'http://schemas.xmlsoap.org/ws/2005/04/discovery' xmlns:a='http://schemas.xmlsoap.org/ws/2004/08/"
        "addressing'><ProbeMatch><Scopes MatchBy='http://schemas.xmlsoap.org/ws/2005/04/discovery/rfc3986'>"
        "onvif://www.onvif.org/hardware/DX%2D9 onvif://www.onvif.org/name/Dock%20East <![CDATA[onvif://www.onvif.org"
        "/location/Pier&1]]></Scopes><Types>x:NetworkVideoTransmitter</Types><a:EndpointReference><a:Address>"
        "urn:uuid:odd</a:Address></a:EndpointReference><XAddrs>http://10.0.0.9/onvif/device_service?a=1&amp;b=2\n\t"
        "http://[fe80::9]/onvif/device_service</XAddrs></ProbeMatch><ProbeMatch><a:EndpointReference><a:Address>"
        "urn:uuid:bare</a:Address></a:EndpointReference></ProbeMatch></ProbeMatches></SOAP-ENV:Body>"
        "</SOAP-ENV:Envelope>";
    std::vector<std::string> answers = {
        std::string("\0\xff not XML", 10),
        envelope(ours, match("cut", "http://1.1.1.1/")).substr(0, 300),
        envelope("<w:RelatesTo>urn:uuid:another-probe</w:RelatesTo>", match("foreign", "http://1.1.1.2/")),
        envelope("", match("unrelated", "http://1.1.1.3/")),
        envelope(ours, match("oversized", "http://1.1.1.4/" + std::string(5000, 'x'))),
        "<!DOCTYPE e [<!ENTITY x 'y'>]>" + envelope(ours, match("doctype", "http://1.1.1.5/")),
        other_discovery_version(envelope(ours, match("2009", "http://1.1.1.6/"))),
        odd,
        odd};
    // Five answers of 70 devices each: 64 kept per answer, 256 in all.
    for (int a = 0; a < 5; ++a) {
      std::string matches;
      for (int m = 0; m < 70; ++m) matches += match("bulk-" + std::to_string(a * 70 + m), "http://10.1.0.1/");
      answers.push_back(envelope(ours, matches));
    }
    return answers;
  });
  const Printed run = discover({"--json", "--to", responder.to()});
  EXPECT_EQ(0, run.status) << run.output;
  ASSERT_EQ(256u, run.devices.size());
  EXPECT_EQ((json{{"endpoint", "urn:uuid:odd"},
                  {"xaddrs", {"http://10.0.0.9/onvif/device_service?a=1&b=2", "http://[fe80::9]/onvif/device_service"}},
                  {"name", "Dock East"}, {"hardware", "DX-9"}, {"location", "Pier&1"}}),
            run.devices[0]);
  EXPECT_EQ((json{{"endpoint", "urn:uuid:bare"}, {"xaddrs", json::array()}, {"name", nullptr},
                  {"hardware", nullptr}, {"location", nullptr}}),
            run.devices[1]);
  EXPECT_EQ("bulk-0", run.devices[2]["name"]);
  EXPECT_EQ("bulk-63", run.devices[65]["name"]);
  EXPECT_EQ("bulk-70", run.devices[66]["name"]);
  EXPECT_EQ("bulk-271", run.devices[255]["name"]);
  for (const char* line : {"7 datagram(s) ignored", "more than 256 cameras answered"})
    EXPECT_NE(std::string::npos, run.output.find(line)) << run.output;
}

}  // namespace
}  // namespace vantel_test

#include "tests/host/open_vswitch.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <thread>

namespace Fabrion::Test {

namespace {

using Json = nlohmann::json;

constexpr const char* schemas = "/usr/share/openvswitch/";
// Where a shell of no administrator does not look.
constexpr const char* path = "PATH=\"$PATH:/usr/sbin\"; ";

int statusOf(const std::string& command) {
  const int status =
      std::system(("{ " + std::string(path) + command + "; } >/dev/null 2>&1").c_str());
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// The rows of a table by their _uuid, each an object of columns.
std::map<std::string, Json> rowsOf(const Json& json) {
  std::map<std::string, Json> rows;
  for (const Json& data : json["data"]) {
    Json row = Json::object();
    for (std::size_t i = 0; i < data.size(); ++i) row[json["headings"][i]] = data[i];
    rows[row["_uuid"][1]] = row;
  }
  return rows;
}

// The elements of a column, which writes a set of one as that one.
std::vector<Json> elementsOf(const Json& column) {
  if (column.is_array() && column.size() == 2 && column[0] == "set") return column[1];
  return {column};
}

// A value with names for the ids in it, and the elements of a set in their order then.
Json withNames(const Json& value, const std::map<std::string, std::string>& names) {
  if (value.is_array() && value.size() == 2 && value[0] == "uuid") {
    const auto found = names.find(value[1]);
    return found == names.end() ? Json("nothing") : Json(found->second);
  }
  if (!value.is_structured()) return value;
  Json result = value;
  for (Json& inner : result) inner = withNames(inner, names);
  const bool isSet = result.is_array() && result.size() == 2 && result[0] == "set";
  if (isSet) std::sort(result[1].begin(), result[1].end());
  return result;
}

}  // namespace

std::string OpenVswitch::missing() {
  for (const char* program :
       {"ovsdb-server", "ovsdb-tool", "ovsdb-client", "ovs-vsctl", "vtep-ctl"}) {
    if (statusOf("command -v " + std::string(program)) != 0) return program;
  }
  for (const char* schema : {"vswitch.ovsschema", "vtep.ovsschema"}) {
    if (!std::filesystem::exists(std::string(schemas) + schema)) {
      return std::string(schemas) + schema;
    }
  }
  return {};
}

OpenVswitch::OpenVswitch() {
  std::string folder = std::filesystem::temp_directory_path() / "fabrion-ovs-XXXXXX";
  if (mkdtemp(folder.data()) == nullptr) {
    ADD_FAILURE() << "no folder " << folder;
    return;
  }
  folder_ = folder;
  for (const char* name : {"vswitch", "vtep"}) {
    EXPECT_EQ(statusOf("ovsdb-tool create " + folder_ + "/" + name + ".db " + schemas + name +
                       ".ovsschema"),
              0);
  }
  // No switch would answer when it has read the database.
  std::filesystem::create_directory(folder_ + "/bin");
  const std::string tool = folder_ + "/bin/ovs-vsctl";
  std::ofstream(tool) << "#!/bin/sh\nPATH=${PATH#*:}\nexec ovs-vsctl --no-wait \"$@\"\n";
  std::filesystem::permissions(tool, std::filesystem::perms::owner_all);
  const std::string command = std::string(path) + "exec ovsdb-server --no-chdir -vconsole:off" +
                              " --remote=p" + socket() + " --unixctl=" + folder_ + "/ctl " +
                              folder_ + "/vswitch.db " + folder_ + "/vtep.db >/dev/null 2>&1";
  server_ = fork();
  if (server_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
    _exit(127);
  }
  for (int tries = 0; tries < 600 && !std::filesystem::exists(folder_ + "/db.sock"); ++tries) {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  // Each tool makes the row at the root of its database where there is none.
  EXPECT_EQ(run("ovs-vsctl init\nvtep-ctl list-ps"), "");
}

OpenVswitch::~OpenVswitch() {
  if (server_ > 0) {
    kill(server_, SIGTERM);
    waitpid(server_, nullptr, 0);
  }
  std::error_code ignored;
  if (!folder_.empty()) std::filesystem::remove_all(folder_, ignored);
}

std::string OpenVswitch::answer(const std::string& command) const {
  std::FILE* const pipe = popen((path + command).c_str(), "r");
  std::string out;
  for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe)) out += static_cast<char>(c);
  const int status = pclose(pipe);
  if (status != 0) out += "exit " + std::to_string(WIFEXITED(status) ? WEXITSTATUS(status) : -1);
  return out;
}

std::string OpenVswitch::run(const std::string& commands) const {
  const std::string file = folder_ + "/commands";
  std::ofstream(file) << commands;
  // The commands as they stand: the tools look for their database where the environment says.
  return answer("OVS_RUNDIR=" + folder_ + " PATH=" + folder_ + "/bin:$PATH sh " + file + " 2>&1");
}

std::string OpenVswitch::rows() const {
  return answer("ovsdb-client dump " + socket() + " Open_vSwitch") +
         answer("ovsdb-client dump " + socket() + " hardware_vtep");
}

std::string OpenVswitch::rowsByName() const {
  std::map<std::string, Json> tables;
  for (const char* database : {"Open_vSwitch", "hardware_vtep"}) {
    std::istringstream dump(answer("ovsdb-client -f json dump " + socket() + " " + database));
    for (std::string line; std::getline(dump, line);) {
      if (line.empty()) continue;
      const Json table = Json::parse(line);
      tables.emplace(std::string(database) + " " + table["caption"].get<std::string>(), table);
    }
  }
  std::map<std::string, std::string> names;
  std::map<std::string, std::map<std::string, Json>> rows;
  for (const auto& [caption, table] : tables) {
    rows[caption] = rowsOf(table);
    for (const auto& [id, row] : rows[caption]) {
      names[id] = caption + " " + (row.contains("name") ? row["name"].get<std::string>() : "");
    }
  }
  std::set<std::string> lines;
  for (auto& [caption, rowById] : rows) {
    for (auto& [id, row] : rowById) {
      Json named = withNames(row, names);
      EXPECT_TRUE(lines.insert(caption + " " + named.dump()).second) << named;
    }
  }
  std::string text;
  for (const std::string& line : lines) text += line + "\n";
  return text;
}

Host::SwitchOutputs OpenVswitch::outputs(const std::string& bridge) const {
  const auto table = [this](const char* database, const char* name) {
    return rowsOf(
        Json::parse(answer("ovsdb-client -f json dump " + socket() + " " + database + " " + name)));
  };
  Host::SwitchOutputs outputs;
  std::set<U16> all;
  const auto ports = table("Open_vSwitch", "Port");
  for (const auto& [id, row] : table("Open_vSwitch", "Bridge")) {
    if (row["name"] != bridge) continue;
    for (const Json& portId : elementsOf(row["ports"])) {
      const Json& port = ports.at(portId[1]);
      const std::string name = port["name"];
      if (name == bridge) continue;  // the bridge's own
      const std::vector<Json> tag = elementsOf(port["tag"]);
      const std::string mode = port["vlan_mode"];
      if (mode == "trunk") {
        EXPECT_TRUE(tag.empty()) << name;
      } else {
        EXPECT_TRUE(mode == "native-untagged" || mode == "access") << name << mode;
        EXPECT_EQ(tag.size(), 1U) << name;
        outputs.nativeVlan[name] = tag.at(0);
      }
      const std::vector<Json> trunks = elementsOf(port["trunks"]);
      EXPECT_EQ(trunks.empty(), mode == "access") << name << " would carry all VLANs";
      for (const Json& vlan : trunks) {
        if (vlan == 4095) continue;
        outputs.allowedVlans[name].push_back(vlan);
        all.insert(vlan.get<U16>());
      }
    }
  }
  for (auto& [port, vlans] : outputs.allowedVlans) std::sort(vlans.begin(), vlans.end());
  outputs.vlans.assign(all.begin(), all.end());

  const auto physicalPorts = table("hardware_vtep", "Physical_Port");
  const auto logicalSwitches = table("hardware_vtep", "Logical_Switch");
  for (const auto& [id, row] : table("hardware_vtep", "Physical_Switch")) {
    if (row["name"] != bridge) continue;
    auto& mappings = outputs.vteps[row["description"]];
    for (const Json& portId : elementsOf(row["ports"])) {
      const Json& port = physicalPorts.at(portId[1]);
      std::map<U16, U32> vnis;
      for (const Json& binding : port["vlan_bindings"][1]) {
        vnis[binding[0]] = logicalSwitches.at(binding[1][1])["tunnel_key"];
      }
      const std::string name = port["name"];
      if (const auto untagged = vnis.find(0); untagged != vnis.end()) {
        EXPECT_EQ(untagged->second, vnis.at(outputs.nativeVlan.at(name))) << name;
        vnis.erase(untagged);
      } else if (const auto native = outputs.nativeVlan.find(name);
                 native != outputs.nativeVlan.end()) {
        EXPECT_EQ(vnis.count(native->second), 0U) << name << ": untagged frames lack the VNI";
      }
      if (!vnis.empty()) mappings[name] = vnis;
    }
  }
  return outputs;
}

std::string OpenVswitch::interfacesOf(const std::string& port) const {
  const auto interfaces = rowsOf(
      Json::parse(answer("ovsdb-client -f json dump " + socket() + " Open_vSwitch Interface")));
  for (const auto& [id, row] : rowsOf(
           Json::parse(answer("ovsdb-client -f json dump " + socket() + " Open_vSwitch Port")))) {
    if (row["name"] != port) continue;
    std::set<std::string> names;
    for (const Json& interface : elementsOf(row["interfaces"])) {
      names.insert(interfaces.at(interface[1])["name"]);
    }
    std::string text = port + ":";
    for (const std::string& name : names) text += " " + name;
    return text;
  }
  return {};
}

}  // namespace Fabrion::Test

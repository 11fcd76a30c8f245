#include <sys/mman.h>

#include <fstream>
#include <optional>
#include <regex>
#include <set>
#include <sstream>

#include "contract/robot_size.h"
#include "host/robot/elf_file.h"
#include "host/robot/module.h"
#include "motion/csv/error.h"
#include "validator/core/check.h"

namespace korvel::validate {

namespace {

using namespace std::chrono_literals;
using host::ElfFile;
using Robot = tesk::RigidBodySystem;

// ---- The file -----------------------------------------------------------------------------------------------------

/// Reads the file as this machine's loader would.
ElfFile file_of(const Subject& subject) try {
  ElfFile file(subject.module);
  require(file.bits == 8 * sizeof(void*), "not for this machine: {} bits", file.bits);
  // A loader finds both by other ways, this reader does not.
  if (file.dynamic_entries.empty() || file.symbols.empty()) {
    throw NotPossible("the file has no table of its sections");
  }
  return file;
} catch (const host::Error& error) {
  throw Finding(error.what());
}

/// Any other name could be bound to another module's, and a unique one (GNU's binding) keeps the module loaded.
std::string exports(const Subject& subject) {
  const ElfFile file = file_of(subject);
  std::set<std::string> functions;
  for (const ElfFile::Symbol& symbol : file.symbols) {
    if (!symbol.defined || symbol.binding == STB_LOCAL) continue;
    require(symbol.name == "create" || symbol.name == "destroy", "'{}' is exported as well", symbol.name);
    require(symbol.type == STT_FUNC && symbol.binding == STB_GLOBAL, "'{}' is no global function", symbol.name);
    functions.insert(symbol.name);
  }
  require(functions.size() == 2, "exported: {}, expected create and destroy", fmt::join(functions, ", "));
  return "create, destroy";
}

std::string dependencies(const Subject& subject) {
  static const std::regex runtime(R"((libstdc\+\+|libc\+\+|libc\+\+abi|libm|libgcc_s|libc|ld-linux.*)\.so(\.\d+)?)");
  static const std::regex sanitizer(R"(lib(a|ub|t|l)san\.so.*)");
  const std::vector<std::string> needed = file_of(subject).needed;
  for (const std::string& name : needed) {
    if (std::regex_match(name, sanitizer)) throw NotPossible("a sanitizer brings " + name);
    require(std::regex_match(name, runtime), "it needs {}", name);
  }
  return fmt::format("{}", fmt::join(needed, ", "));
}

std::string protection(const Subject& subject) {
  const ElfFile file = file_of(subject);
  for (const ElfFile::Segment& segment : file.segments) {
    const bool both = (segment.p_flags & PF_W) != 0 && (segment.p_flags & PF_X) != 0;
    require(!both || segment.p_type != PT_LOAD, "the segment at {:#x} can be written and executed", segment.p_vaddr);
    require(!both || segment.p_type != PT_GNU_STACK, "it asks for an executable stack");
  }
  for (const ElfFile::DynamicEntry& entry : file.dynamic_entries) {
    const bool text = entry.d_tag == DT_TEXTREL || (entry.d_tag == DT_FLAGS && (entry.d_un.d_val & DF_TEXTREL) != 0);
    require(!text, "the loader has to write into its code");
  }
  return fmt::format("{} segments", file.segments.size());
}

// ---- The loader ---------------------------------------------------------------------------------------------------

std::string loads(const Subject& subject) {
  // The loader may not see it, and whoever calls the module run into what is missing.
  require(host::ElfFile(subject.module).is_whole, "the file is cut short");
  using Clock = std::chrono::steady_clock;
  const auto start = Clock::now();
  const host::Module module(subject.module);
  const auto loaded = Clock::now();
  const host::System robot = module.create();
  require(robot != nullptr, "create returned a null pointer");
  const auto microseconds = [](Clock::duration time) {
    return std::chrono::duration<double, std::micro>(time).count();
  };
  return fmt::format("loading {:.0f} us, first object {:.0f} us", microseconds(loaded - start),
                     microseconds(Clock::now() - loaded));
}

bool is_mapped(const std::filesystem::path& path) {
  std::ostringstream maps;
  maps << std::ifstream("/proc/self/maps").rdbuf();
  if (maps.str().empty()) throw NotPossible("cannot read /proc/self/maps");
  return maps.str().find(std::filesystem::canonical(path)) != std::string::npos;
}

std::string unloads(const Subject& subject) {
  constexpr int cycles = 3;
  for (int cycle = 0; cycle < cycles; ++cycle) {
    std::optional<host::Module> module(subject.module);
    host::System robot = module->create();
    const auto clone = host::System(robot->clone().release(), robot.get_deleter());
    robot->computeFwdKinematics();
    module.reset();
    robot.reset();
    require(is_mapped(subject.module), "it is not mapped while an object lives");
  }
  require(!is_mapped(subject.module), "it is still mapped after the last object and dlclose");
  return fmt::format("{} times", cycles);
}

/// A copy of the file in memory, which ends with its process and needs no folder.
std::filesystem::path copied(const std::filesystem::path& module) {
  const int copy = memfd_create("copy", MFD_CLOEXEC);
  std::filesystem::path path = fmt::format("/proc/self/fd/{}", copy);
  std::ofstream file(path, std::ios::binary);
  file << std::ifstream(module, std::ios::binary).rdbuf();
  file.close();
  void* page = copy < 0 ? MAP_FAILED : mmap(nullptr, 1, PROT_READ | PROT_EXEC, MAP_PRIVATE, copy, 0);
  if (!file || page == MAP_FAILED) throw NotPossible("this system allows no copy in memory that can be executed");
  munmap(page, 1);
  return path;
}

std::string two_copies(const Subject& subject) {
  const host::Module second(copied(subject.module));
  const host::System one = create(subject);
  const host::System other = second.create();
  const float before = other->getMass();
  one->setBodyInertia(0, one->getMass(0) + 1, {}, Eigen::Matrix3f::Zero());
  require(!(other->getMass() > before) && !(other->getMass() < before), "a mass of one is seen by the other");
  return "2 copies";
}

// ---- What it says of the robot ------------------------------------------------------------------------------------

std::string counts(const Subject& subject) {
  const host::System robot = create(subject);
  const unsigned long bodies = robot->getNbBodies();
  const unsigned long joints = robot->getNbJointAngles();
  require(bodies == joints + 1, "{} bodies and {} joint angles, expected one joint per body but the root", bodies,
          joints);
  require(robot->getNbVolatileFrames() > 0, "no volatile frame");
  for (const auto& [name, view] : {std::pair("positions", robot->getJointAnglesPos()),
                                   {"velocities", robot->getJointAnglesVel()},
                                   {"accelerations", robot->getJointAnglesAcc()},
                                   {"torques", robot->getJointAnglesTorque()}}) {
    require(view.size() == joints, "{} {}, expected {}", view.size(), name, joints);
  }
  const Eigen::MatrixXf& M = robot->getGeneralizedMass();
  const int coordinates = RobotSize(*robot).coordinates();
  require(M.rows() == coordinates && M.cols() == coordinates, "the mass matrix is {} x {}", M.rows(), M.cols());
  require(robot->getJacobianInRoot().cols() == coordinates, "the jacobian has {} columns",
          robot->getJacobianInRoot().cols());
  return fmt::format("{} bodies, {} joint angles, {} volatile frame", bodies, joints, robot->getNbVolatileFrames());
}

std::string names(const Subject& subject) {
  const host::Module module(subject.module);
  const host::System first = module.create();
  host::System robot = module.create();
  std::vector<const std::string*> kept{&robot->getRootName()};
  const auto looked_at = [&](const char* what, unsigned long count, auto name_of, auto id_of) {
    std::set<std::string> names;
    for (unsigned long i = 0; i < count; ++i) {
      const std::string& name = ((*robot).*name_of)(i);
      require(!name.empty() && names.insert(name).second, "{} {} has no name of its own: '{}'", what, i, name);
      const unsigned long found = ((*robot).*id_of)(name);
      require(found == i, "'{}' is found at {} instead of {}", name, found, i);
      kept.push_back(&name);
    }
    return names;
  };
  looked_at("body", robot->getNbBodies(), &Robot::getBodyName, &Robot::getBodyId);
  const std::set<std::string> joints =
      looked_at("joint angle", robot->getNbJointAngles(), &Robot::getJointAngleName, &Robot::getJointAngleId);
  require(!robot->getRootName().empty() && joints.count(robot->getRootName()) == 0,
          "the root's joint has no name of its own: '{}'", robot->getRootName());
  require(robot->getName().empty(), "the object is called '{}', expected an empty name", robot->getName());
  std::vector<std::string> before;
  for (const std::string* name : kept) before.push_back(*name);
  robot.reset();
  for (std::size_t i = 0; i < kept.size(); ++i) {
    require(*kept[i] == before[i], "'{}' did not outlive the object that gave it", before[i]);
  }
  return fmt::format("{} names", kept.size());
}

std::string topology(const Subject& subject) {
  const host::System robot = create(subject);
  const auto parents = robot->getParentsVector();
  const auto numbers = robot->getDofNumbersVector();
  const auto indexes = robot->getDofIndexesVector();
  for (const auto* vector : {&parents, &numbers, &indexes}) {
    require(vector->size() == robot->getNbBodies(), "{} entries, expected one per body", vector->size());
  }
  std::int64_t coordinates = 0;
  std::int64_t limbs = 0;
  for (std::size_t b = 0; b < parents.size(); ++b) {
    const auto parent = parents[b];
    require(b == 0 ? parent == -1 : parent >= 0 && parent < static_cast<std::int64_t>(b), "body {} has parent {}", b,
            parent);
    require(numbers[b] == (b == 0 ? 6 : 1), "body {} has {} coordinates", b, numbers[b]);
    require(indexes[b] == coordinates, "body {} begins at coordinate {}, expected {}", b, indexes[b], coordinates);
    coordinates += numbers[b];
    if (parent == 0) ++limbs;
  }
  const RobotSize size(*robot);
  require(coordinates == size.coordinates(), "{} coordinates, expected {}", coordinates, size.coordinates());
  return fmt::format("{} coordinates, {} limbs", coordinates, limbs);
}

}  // namespace

Checks loading_checks() {
  return {
      {"loading.loads", "It loads, and create returns an object.", loads, 5s},
      {"loading.exports", "The module exports create and destroy and nothing else.", exports},
      {"loading.dependencies", "It needs no library but the runtime of C and C++.", dependencies},
      {"loading.protection", "Nothing of it is both writable and executable.", protection},
      {"loading.unloads", "It may be closed once every object is gone, and leaves the process then.", unloads},
      {"loading.copies", "Two copies of it in one process share nothing.", two_copies},
      {"loading.counts", "Bodies, joint angles, views and matrices have the documented sizes.", counts},
      {"loading.names", "Every name leads back to its index and lives as long as the module is loaded.", names},
      {"loading.topology", "Parents come before children, and their joints' coordinates one after the other.",
       topology},
  };
}

}  // namespace korvel::validate

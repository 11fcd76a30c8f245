#pragma once

/// Life of an adapter, and what it tells about the robot.

#include <algorithm>
#include <cstdlib>
#include <new>
#include <stdexcept>

#include "plugin/metapod_rigid_body_system.h"

namespace tesk {

template <typename Model>
MetapodRigidBodySystem<Model>::MetapodRigidBodySystem()
    : jacobianInRoot_(Jacobian::Zero(6, dof_count)),
      generalizedMass_(Eigen::MatrixXf::Zero(dof_count, dof_count)),
      poses_(body_count + volatile_frame_count),
      posesInRoot_(body_count) {
  const auto& root_motions = metapod::NodeOf<Model, root>::Joint::S;
  RootCoordinates rates{};
  for (std::size_t d = 0; d < rates.size(); ++d) {
    rates.fill(0);
    rates[d] = 1;
    const auto column = root_motions * rates;
    jacobianInRoot_.col(static_cast<Eigen::Index>(d)) << column.w.x, column.w.y, column.w.z, column.v.x, column.v.y,
        column.v.z;
  }
  angles_.take_root(q_(3), q_(4), q_(5));
  mass_ = 0;
  for (const auto& inertia : Model::inertias()) mass_ += inertia.m;
}

template <typename Model>
void* MetapodRigidBodySystem<Model>::operator new(std::size_t size) {
  static_assert(alignof(MetapodRigidBodySystem) <= alignof(std::max_align_t), "malloc must align the object");
  void* storage = std::malloc(size);
  if (storage == nullptr) throw std::bad_alloc();
  return storage;
}

template <typename Model>
void MetapodRigidBodySystem<Model>::operator delete(void* storage) noexcept {
  std::free(storage);
}

template <typename Model>
std::unique_ptr<RigidBodySystem> MetapodRigidBodySystem<Model>::clone() const {
  return std::make_unique<MetapodRigidBodySystem>(*this);
}

template <typename Model>
std::string MetapodRigidBodySystem<Model>::getName() const {
  return {};
}

template <typename Model>
unsigned long MetapodRigidBodySystem<Model>::getNbJointAngles() const noexcept {
  return joint_count;
}

template <typename Model>
unsigned long MetapodRigidBodySystem<Model>::getNbBodies() const noexcept {
  return body_count;
}

template <typename Model>
unsigned long MetapodRigidBodySystem<Model>::getNbVolatileFrames() const noexcept {
  return volatile_frame_count;
}

template <typename Model>
const std::string& MetapodRigidBodySystem<Model>::getRootName() const noexcept {
  return Model::joint_names[root];
}

template <typename Model>
const std::string& MetapodRigidBodySystem<Model>::getJointAngleName(unsigned long j) const noexcept {
  assert(j < joint_count && "getJointAngleName: joint-angle index out of range");
  return Model::joint_names[j + 1];
}

template <typename Model>
const std::string& MetapodRigidBodySystem<Model>::getBodyName(unsigned long b) const noexcept {
  assert(b < body_count && "getBodyName: body index out of range");
  return Model::body_names[b];
}

/// Distance from first to the name. Throws std::out_of_range: no KIND named "NAME".
template <typename Iterator>
unsigned long index_of(Iterator first, Iterator last, const std::string& name, const char* kind) {
  const auto found = std::find(first, last, name);
  if (found == last) throw std::out_of_range(std::string("no ") + kind + " named \"" + name + '"');
  return static_cast<unsigned long>(found - first);
}

template <typename Model>
unsigned long MetapodRigidBodySystem<Model>::getJointAngleId(const std::string& name) const {
  return index_of(Model::joint_names.begin() + 1, Model::joint_names.end(), name, "joint angle");
}

template <typename Model>
unsigned long MetapodRigidBodySystem<Model>::getBodyId(const std::string& name) const {
  return index_of(Model::body_names.begin(), Model::body_names.end(), name, "body");
}

template <typename Model>
RigidBodySystem::TopologyVector MetapodRigidBodySystem<Model>::getParentsVector() const {
  return {Model::parents.begin(), Model::parents.end()};
}

template <typename Model>
RigidBodySystem::TopologyVector MetapodRigidBodySystem<Model>::getDofNumbersVector() const {
  return {Model::dof_numbers.begin(), Model::dof_numbers.end()};
}

template <typename Model>
RigidBodySystem::TopologyVector MetapodRigidBodySystem<Model>::getDofIndexesVector() const {
  return {Model::dof_indexes.begin(), Model::dof_indexes.end()};
}

}  // namespace tesk

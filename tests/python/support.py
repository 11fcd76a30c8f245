"""What tests of the Python package share: states, and a robot of point masses in double precision."""

import os
import sys
import xml.etree.ElementTree

try:
    import numpy as np
except ImportError:
    print("skipped: numpy is not installed")
    sys.exit(77)

HOST = os.environ["KORVEL_HOST"]
ROOT = os.environ["KORVEL_SOURCE"]
GRAVITY = 9.81
EPSILON = 2.0**-23


def random_states(n, seed):
    """Coordinates, velocities and accelerations: of an upright robot that may look anywhere, not faster than it is."""
    rng = np.random.default_rng(seed)
    q, dq, ddq = rng.uniform(-1.2, 1.2, (n, 30)), rng.uniform(-2, 2, (n, 30)), rng.uniform(-5, 5, (n, 30))
    return q.astype(np.float32), dq.astype(np.float32), ddq.astype(np.float32)


def rotation(axis, angle):
    """About an axis of unit length, by Rodrigues' formula; angles may be many."""
    x, y, z = axis
    K = np.array([[0, -z, y], [z, 0, -x], [-y, x, 0]])
    angle = np.asarray(angle)[..., None, None]
    return np.eye(3) + np.sin(angle) * K + (1 - np.cos(angle)) * K @ K


def rotation_of(vectors):
    """About a vector each, by its length."""
    return np.array([rotation(v / max(np.linalg.norm(v), 1e-300), np.linalg.norm(v)) for v in vectors])


def rpy(roll, pitch, yaw):
    return rotation((0, 0, 1), yaw) @ rotation((0, 1, 0), pitch) @ rotation((1, 0, 0), roll)


class PointRobot:
    """The tree and the masses as the exported model for other programs has them. Every derivative is a difference."""

    def __init__(self, urdf, names):
        robot = xml.etree.ElementTree.parse(urdf).getroot()
        joints = {joint.find("child").get("link"): joint for joint in robot.findall("joint")}
        self.names = names
        self.parents, self.frames, self.axes = [], [], []
        self.points = []  # body, mass, place in the body
        for body, name in enumerate(names):
            joint, inertial = joints[name], robot.find(f"link[@name='{name}']/inertial")
            origin = joint.find("origin")
            parent = joint.find("parent").get("link")
            self.parents.append(names.index(parent) if body else -1)
            self.frames.append((rpy(*numbers(origin, "rpy")), numbers(origin, "xyz")))
            self.axes.append(numbers(joint.find("axis"), "xyz") if body else None)
            self.points.append((body, float(inertial.find("mass").get("value")), numbers(inertial.find("origin"), "xyz")))

    def pulled_apart(self, body, mass, com, half):
        """With another body: six masses, two on each axis through a centre, that far from it. Its inertia about it."""
        points = [point for point in self.points if point[0] != body]
        for axis in range(3):
            for sign in (-1, 1):
                points.append((body, mass / 6, com + sign * half[axis] * np.eye(3)[axis]))
        other = object.__new__(PointRobot)
        other.__dict__.update(self.__dict__, points=points)
        square = mass / 3 * np.square(half)
        return other, square.sum() - square

    def poses(self, root, angles):
        """Rotations [n, 25, 3, 3] and origins [n, 25, 3] in the world."""
        Rs, ps = [root[0]], [root[1]]
        for body in range(1, len(self.names)):
            R, p = Rs[self.parents[body]], ps[self.parents[body]]
            E, r = self.frames[body]
            Rs.append(R @ E @ rotation(self.axes[body], angles[:, body - 1]))
            ps.append(p + R @ r)
        return np.stack(Rs, 1), np.stack(ps, 1)

    def moved(self, q, dq, ddq, t):
        """The poses after a time, up to terms in t^3; rates of the root are in its own frame."""
        R = rotation((0, 0, 1), q[:, 5]) @ rotation((0, 1, 0), q[:, 4]) @ rotation((1, 0, 0), q[:, 3])
        v, w, a, dw = dq[:, :3], dq[:, 3:6], ddq[:, :3], ddq[:, 3:6]
        step = v * t + (a + np.cross(w, v)) * t**2 / 2
        root = R @ rotation_of(w * t + dw * t**2 / 2), q[:, :3] + (R @ step[..., None])[..., 0]
        return self.poses(root, q[:, 6:] + dq[:, 6:] * t + ddq[:, 6:] * t**2 / 2)

    def places(self, points, poses):
        R, p = poses
        return np.stack([p[:, b] + R[:, b] @ at for b, at in points], 1)

    def jacobians(self, points, q):
        """[n, points, 3, 30]: velocities of points per unit rates."""
        h, zero, columns = 1e-6, np.zeros_like(q), []
        for d in range(q.shape[1]):
            unit = zero + np.eye(q.shape[1])[d]
            after, before = (self.places(points, self.moved(q, unit, zero, t)) for t in (h, -h))
            columns.append((after - before) / (2 * h))
        return np.stack(columns, -1)

    def mass(self, q):
        points = [(b, at) for b, _, at in self.points]
        masses = np.array([m for _, m, _ in self.points])
        J = self.jacobians(points, q)
        return np.einsum("p,npid,npie->nde", masses, J, J)

    def forces(self, q, dq, ddq, wrenches):
        """Of the points' accelerations and weights, less what wrenches contribute."""
        points = [(b, at) for b, _, at in self.points]
        masses = np.array([m for _, m, _ in self.points])
        h = 1e-4
        before, now, after = (self.places(points, self.moved(q, dq, ddq, t)) for t in (-h, 0, h))
        needed = masses[:, None] * ((before - 2 * now + after) / h**2 + [0, 0, GRAVITY])
        result = np.einsum("npi,npid->nd", needed, self.jacobians(points, q))
        R, _ = self.moved(q, dq, ddq, 0)
        e = np.eye(3)
        for name, wrench in wrenches.items():
            b = self.names.index(name)
            acts = [(np.zeros(3), wrench[:, :3])]
            for i in range(3):  # A couple about each axis.
                y, z = e[(i + 1) % 3], e[(i + 2) % 3]
                half = wrench[:, 3 + i, None] / 2 * z
                acts += [(y, half), (-y, -half)]
            J = self.jacobians([(b, at) for at, _ in acts], q)
            in_world = np.stack([(R[:, b] @ f[..., None])[..., 0] for _, f in acts], 1)
            result -= np.einsum("npi,npid->nd", in_world, J)
        return result


def numbers(element, name):
    return np.array([float(number) for number in element.get(name).split()])

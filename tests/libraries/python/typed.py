"""Calls that a user may write, for the type checker."""

import numpy as np
import numpy.typing as npt

import korvel

Array = npt.NDArray[np.float32]


def margins(path: str) -> Array:
    motion = korvel.Motion.read(path, cutoff=5)
    batch = korvel.Batch(threads=2)
    kinematics = batch.kinematics(motion.q, jacobian=True)
    assert kinematics.jacobian is not None
    forces: Array = batch.dynamics(motion.q, motion.dq, motion.ddq, {"LAnkleRoll": np.zeros(6, np.float32)})
    rows, columns = korvel.MASS_ENTRIES
    batch.mass(motion.q, packed=True)[:, rows == columns].sum()
    peak: float = batch.dynamics_sums(motion.q, motion.dq, motion.ddq).squares.max()
    stand = batch.stand(motion.q, motion.dq, motion.ddq, korvel.Ground({"LAnkleRoll": korvel.Sole([[0, 0, 0]] * 3, 0.6)}))
    foot = korvel.place_on("LAnkleRoll", korvel.Motion.of(motion.time, motion.q).q)
    peak += float(batch.kinematics(foot, bodies=["LAnkleRoll"]).poses_world[0, 0, 2, 3])
    falls = stand.verdict == korvel.Verdict.TIPS
    peak += float(stand.zmp_margin[falls].min())
    derivatives = batch.dynamics_derivatives(motion.q, motion.dq, motion.ddq, packed=True)
    gradient = batch.dynamics_gradient(motion.q, motion.dq, motion.ddq, forces)
    accelerations = batch.forward_dynamics(motion.q, motion.dq, gradient.by_q, armature=1e-3)
    peak += float(batch.momentum(motion.q, motion.dq).bias[0, 0] + derivatives.by_dq[0, 0] + accelerations[0, 0])
    peak += float(korvel.by_euler(motion.q, gradient.by_q)[0, 0] + batch.body_jacobian(motion.q, "HeadYaw")[0, 0, 0])
    result: Array = forces / np.float32(peak) + kinematics.com[:, :1] + kinematics.jacobian[:, 0]
    return result

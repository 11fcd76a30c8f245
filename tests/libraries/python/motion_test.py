"""Motions are to the bit those that the host runs."""

import importlib.util
import os
import pathlib
import pickle
import subprocess
import tempfile
import unittest

from support import HOST, MOTIONS, columns_of, np, results_of

import korvel


class Motions(unittest.TestCase):
    batch = korvel.Batch()

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def written(self, text):
        path = self.folder / "motion.csv"
        path.write_text(text)
        return path

    def assertRunsAlike(self, path, cutoff=None):
        exact = results_of(path, "--air", *([] if cutoff is None else ["--cutoff", str(cutoff)]))
        results = {name: column.astype(np.float32) for name, column in exact.items()}
        motion = korvel.Motion.read(path, cutoff)
        np.testing.assert_array_equal(motion.time, exact["time"])
        forces, k = self.batch.dynamics(motion.q, motion.dq, motion.ddq), self.batch.kinematics(motion.q)
        for j, joint in enumerate(korvel.JOINTS):
            np.testing.assert_array_equal(forces[:, 6 + j], results[joint + "_torque"], joint)
        for i, axis in enumerate("xyz"):
            np.testing.assert_array_equal(k.com[:, i], results["com_" + axis])
            np.testing.assert_array_equal(k.com_root[:, i], results["com_root_" + axis])
            for b, body in enumerate(korvel.BODIES):
                np.testing.assert_array_equal(k.poses_world[:, b, i, 3], results[f"{body}_{axis}"], body)
        return motion

    def test_those_of_the_robot(self):
        for name in ("squat", "wave", "weight_shift", "slow_step"):
            for cutoff in (None, 4.5):
                with self.subTest(name, cutoff=cutoff):
                    self.assertRunsAlike(MOTIONS / f"{name}.csv", cutoff)

    def test_a_tumbling_root_uneven_times_and_contacts(self):
        rng = np.random.default_rng(6)
        quaternions = [1, 0, 0, 0] + np.cumsum(rng.uniform(-0.2, 0.2, (300, 4)), 0)
        quaternions /= np.linalg.norm(quaternions, axis=1, keepdims=True)
        time = 1.7e9 + np.cumsum(rng.uniform(0.005, 0.02, 300))
        table = np.column_stack([quaternions, rng.uniform(-1, 1, (300, 3)), np.ones(300), time])
        path = self.written("qw,qx,qy,qz,z,HeadYaw,LKneePitch,LAnkleRoll_contact,time\n")
        with open(path, "a", encoding="ascii") as file:
            np.savetxt(file, table, [*["%.7f"] * 6, "%.5f", "%d", "%.6f"], ",")
        motion = self.assertRunsAlike(path)
        self.assertEqual(motion.q.dtype, np.float32)
        self.assertEqual(motion.ddq.shape, (300, 30))
        self.assertEqual({body: share.tolist() for body, share in motion.contact.items()}, {"LAnkleRoll": [1] * 300})

    def test_errors_are_those_of_the_host(self):
        for text in ("time,Foot\n0,1\n", "time\n", "time,x\n0,1\n1,nan\n", "time,qw,qx,qy,qz\n0,1,0,0,0\n1,2,0,0,0\n", ""):
            path = self.written(text)
            run = subprocess.run([HOST, "run", path, "-o", self.folder / "none.csv"], capture_output=True, text=True)
            with self.assertRaises(korvel.Error) as caught:
                korvel.Motion.read(path)
            self.assertIn(str(caught.exception), run.stderr)
            self.assertIn(str(path), str(caught.exception))

    def test_a_missing_file_is_the_same_error_for_all(self):
        for read in (korvel.Motion.read, korvel.Ground.read, korvel.Recording):
            for path in ("nowhere.csv", self.folder / "no folder" / "nowhere.csv", MOTIONS / "wave.csv" / "below", "", b"nowhere.csv",
                         "long" * 99):
                with self.assertRaises(FileNotFoundError) as caught:
                    read(path)
                self.assertEqual(caught.exception.filename, os.fsdecode(path))
            with self.assertRaises(korvel.Error):
                read(self.folder)

    def test_motions_of_arrays_are_those_of_files(self):
        for name in ("squat", "slow_step"):
            table = columns_of(MOTIONS / f"{name}.csv")
            q = np.stack([table.get(coordinate, 0 * table["time"]) for coordinate in korvel.COORDINATES], 1)
            q[len(q) // 2:, 5] += 2 * np.pi
            for cutoff in (None, 4.5):
                made, read = korvel.Motion.of(table["time"], q, cutoff), korvel.Motion.read(MOTIONS / f"{name}.csv", cutoff)
                np.testing.assert_array_equal(made.time, read.time)
                for found, expected in ((made.q, read.q), (made.dq, read.dq), (made.ddq, read.ddq)):
                    np.testing.assert_allclose(found, expected, atol=1e-6 * np.abs(expected).max())

    def test_the_robot_is_placed_by_a_body(self):
        rng = np.random.default_rng(8)
        q = rng.uniform(-1, 1, (50, 30))
        foot = korvel.BODIES.index("LAnkleRoll")
        before = self.batch.kinematics(q)
        poses = self.batch.kinematics(rng.uniform(-1, 1, (50, 30))).poses_world[:, foot]
        for pose, expected in ((None, before.poses_world[0, foot]), (poses, poses), (poses[5], poses[5])):
            placed = korvel.place_on("LAnkleRoll", q, pose)
            after = self.batch.kinematics(placed)
            np.testing.assert_allclose(after.poses_world[:, foot], np.broadcast_to(expected, (50, 3, 4)), atol=2e-6)
            np.testing.assert_array_equal(placed[:, 6:], q[:, 6:])
        np.testing.assert_allclose(korvel.place_on("Torso", q[0], np.eye(3, 4))[:6], 0, atol=1e-7)

    def test_a_body_that_is_placed_does_not_accelerate(self):
        time = np.linspace(0, 2, 2001)
        q = np.zeros((2001, 30))
        for number, coordinate in enumerate(korvel.COORDINATES[6:], 6):
            q[:, number] = 0.3 * np.sin(np.pi * time + number)
        motion = korvel.Motion.of(time, korvel.place_on("RAnkleRoll", q))
        J = self.batch.body_jacobian(motion.q, "RAnkleRoll")
        bias = self.batch.body_bias(motion.q, motion.dq, "RAnkleRoll")
        inner = slice(50, -50)
        self.assertLess(np.abs(np.einsum("nij,nj->ni", J, motion.dq))[inner].max(), 1e-5)
        self.assertLess(np.abs(np.einsum("nij,nj->ni", J, motion.ddq) + bias)[inner].max(), 2e-3)

    def test_copies_are_the_same(self):
        motion = korvel.Motion.read(str(MOTIONS / "wave.csv"))
        np.testing.assert_array_equal(pickle.loads(pickle.dumps(motion)).ddq, motion.ddq)

    @unittest.skipUnless(importlib.util.find_spec("pandas"), "pandas is not installed")
    def test_to_pandas_and_back(self):
        motion = korvel.Motion.read(MOTIONS / "wave.csv")
        motion.contact["LAnkleRoll"] = np.linspace(0, 1, len(motion.time), dtype=np.float32)
        frame = motion.to_pandas()
        np.testing.assert_array_equal(frame["ddq"]["RShoulderRoll"], motion.ddq[:, korvel.COORDINATES.index("RShoulderRoll")])
        back = korvel.Motion.from_pandas(frame[frame.columns[::-1]])
        for found, expected in ((back.time, motion.time), (back.q, motion.q), (back.dq, motion.dq), (back.ddq, motion.ddq),
                                (back.contact["LAnkleRoll"], motion.contact["LAnkleRoll"])):
            np.testing.assert_array_equal(found, expected)
            self.assertEqual(found.dtype, expected.dtype)
            self.assertFalse(np.shares_memory(found, expected))
        with self.assertRaisesRegex(korvel.Error, "expected a column for each coordinate in 'dq'"):
            korvel.Motion.from_pandas(frame.drop(columns=[("dq", "yaw")]))
        path = self.folder / "written.csv"
        frame["q"].reset_index().to_csv(path, index=False)
        np.testing.assert_array_equal(korvel.Motion.read(path).q[:, 6:], motion.q[:, 6:])


if __name__ == "__main__":
    unittest.main(verbosity=2)

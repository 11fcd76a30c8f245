"""Candidates on a cluster of two processes, one of which dies half way."""

import os
import signal
import sys
import unittest

from support import ROOT

try:
    import distributed
    import scipy  # noqa: F401
except ImportError as error:
    print(f"skipped: {error.name} is not installed")
    sys.exit(77)

sys.path.insert(0, str(ROOT / "examples"))
import cluster  # noqa: E402


class Cluster(unittest.TestCase):
    CANDIDATES, SEED = 330, 7

    def test_the_answer_does_not_depend_on_who_finds_it(self):
        expected, _ = cluster.evaluate(self.SEED, 0, self.CANDIDATES)
        self.assertGreater(expected.stand, 20)
        self.assertLess(expected.stand, self.CANDIDATES - 20)
        parts = [cluster.evaluate(self.SEED, *part)[0] for part in cluster.cut(self.CANDIDATES, 41)]
        self.assertEqual(sum(reversed(parts), cluster.NOTHING), expected)

        pythonpath = os.pathsep.join([str(ROOT / "examples"), os.environ.get("PYTHONPATH", "")])
        os.environ["PYTHONPATH"] = pythonpath
        with distributed.LocalCluster(n_workers=2, threads_per_worker=1, dashboard_address=None) as local:
            with distributed.Client(local) as client:
                client.wait_for_workers(2)
                pids = set(client.run(os.getpid).values())
                killed = []

                def kill_one(done):
                    if done == 10:
                        killed.append(min(pids))
                        os.kill(killed[0], signal.SIGKILL)

                answer, busy = cluster.run(client, self.CANDIDATES, 11, self.SEED, kill_one)
                self.assertEqual(answer, expected)
                self.assertGreater(busy, 0)
                self.assertEqual(len(killed), 1)
                # Another process has taken its place, or the other one has done all.
                self.assertNotIn(killed[0], client.run(os.getpid).values())
        for other in ((self.SEED, 6), (self.SEED + 1, 5)):
            self.assertFalse((cluster.knots(*other) == cluster.knots(self.SEED, 5)).any())


if __name__ == "__main__":
    unittest.main()

#!/usr/bin/env python3
"""The basis-function solve of bench_bfm's data with numpy, all voxels at once.

Reads the file that `OUT=file bench_bfm` writes and, for N = 50, 100, 200,
lays the same grid k2a = k2min / (1 + BPmax) .. k2max (bounds k2 [0.05, 0.6]
/min, BPstar [0, 5], R1 [0, 3]), convolves the piecewise-linear reference
curve with exp(-k2a t) in closed form, solves the 2 x 2 least-squares problem
y = R1 ref + theta b of every voxel and grid point from the sums, rejects
BPstar outside its bounds, clamps R1 and k2, and keeps the grid point of the
lowest residual. Prints one table row per N (basis and solve times apart),
the best of REPEAT runs (5 by default), on one thread.

    python3 bench/bfm_numpy.py /tmp/bfm.f64
"""
import os
import sys
import time

# One thread, as the toolbox's run: set before numpy loads its BLAS.
for _name in ('OPENBLAS_NUM_THREADS', 'OMP_NUM_THREADS', 'MKL_NUM_THREADS'):
    os.environ.setdefault(_name, '1')

import numpy as np  # noqa: E402

R1_MIN, R1_MAX, K2_MIN, K2_MAX, BP_MIN, BP_MAX = 0.0, 3.0, 0.05 / 60, 0.6 / 60, 0.0, 5.0


def basis(t, ref, k):
    """B[i, n] = int_0^t[n] ref(s) exp(-k[i] (t[n] - s)) ds, ref linear between samples."""
    a, b = t[:-1], t[1:]
    fa, fb = ref[:-1], ref[1:]
    m = (fb - fa) / (b - a)
    # Segment j seen from sample n (j < n): E(s) = exp(-k (t[n] - s)).
    k = k[:, None, None]
    ea = np.exp(-k * (t[None, :, None] - a[None, None, :]))
    eb = np.exp(-k * (t[None, :, None] - b[None, None, :]))
    seg = (fb * eb - fa * ea) / k - m * (eb - ea) / k ** 2
    seg *= (np.arange(len(t))[:, None] > np.arange(len(t) - 1)[None, :])
    return seg.sum(axis=2)


def solve(Y, ref, B, k2a):
    Srr = ref @ ref
    Srb = B @ ref
    Sbb = np.einsum('it,it->i', B, B)
    Sry = Y @ ref
    Sby = Y @ B.T
    Syy = np.einsum('vt,vt->v', Y, Y)
    delta = Srr * Sbb - Srb * Srb
    R1 = (Sbb * Sry[:, None] - Srb * Sby) / delta
    theta = (Srr * Sby - Srb * Sry[:, None]) / delta
    k2 = theta + k2a * R1
    bp = k2 / k2a - 1.0
    R1 = np.clip(R1, R1_MIN, R1_MAX)
    k2 = np.clip(k2, K2_MIN, K2_MAX)
    th = k2 - k2a * R1
    chi = (Syy[:, None] - 2 * (R1 * Sry[:, None] + th * Sby) + R1 * R1 * Srr + 2 * R1 * th * Srb
           + th * th * Sbb)
    rejected = ~((bp >= BP_MIN) & (bp <= BP_MAX))
    chi = np.where(rejected, np.inf, chi)
    best = np.argmin(chi, axis=1)
    best = np.where(np.isinf(chi[np.arange(len(best)), best]), len(k2a) - 1, best)
    v = np.arange(len(best))
    k2b = k2[v, best]
    return R1[v, best], k2b * 60, k2b / k2a[best] - 1.0


def main(name):
    raw = np.fromfile(name, dtype=np.float64)
    nt, nv = int(raw[0]), int(raw[1])
    o = 2
    t = raw[o:o + nt]; o += nt
    ref = raw[o:o + nt]; o += nt
    Y = raw[o:o + nv * nt].reshape(nv, nt); o += nv * nt
    truth = raw[o:o + 3 * nv].reshape(3, nv)
    print('| %-26s | %8s | %9s | %7s | %7s | %7s | %s' % ('method', 'seconds', 'voxels/s', 'R1', 'k2', 'BPstar',
                                                          'basis / solve (s)'))
    for n in (50, 100, 200):
        runs = []
        for _ in range(int(os.environ.get('REPEAT', '5'))):
            start = time.perf_counter()
            k2a = np.linspace(K2_MIN / (1 + BP_MAX), K2_MAX, n)
            B = basis(t, ref, k2a)
            built = time.perf_counter()
            fitted = solve(Y, ref, B, k2a)
            done = time.perf_counter()
            runs.append((done - start, start, built, done))
        _, start, built, done = min(runs)
        err = [np.median(np.abs(f - tr) / tr) for f, tr in zip(fitted, truth)]
        print('| %-26s | %8.3f | %9.0f | %7.4f | %7.4f | %7.4f | %.3f / %.3f' % (
            'numpy N=%d' % n, done - start, nv / (done - start), err[0], err[1], err[2], built - start,
            done - built))


if __name__ == '__main__':
    main(sys.argv[1] if len(sys.argv) > 1 else '/tmp/bfm.f64')

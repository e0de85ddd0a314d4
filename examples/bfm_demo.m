% kinetra basis-function demo: a reference-region parametric map (R1, k2,
% BPstar of the simplified reference tissue model Neuro_SLAM) by GunnBFM, on a
% noisy 4x4 map made here, against the truth.
%
% GunnBFM needs no start values: it lays maxiter values of k2a = k2 / (1 +
% BPstar) between k2min / (1 + BPmax) and k2max, convolves the reference
% curve once for each, solves a linear least-squares problem per voxel and
% grid point and keeps the best. The bounds of k2 and BPstar must be set.
% Run from the repository top: addpath('build'); addpath('examples'); bfm_demo
kinetra('reset');
lengths = [repmat(10, 1, 6), repmat(30, 1, 8), repmat(60, 1, 6), repmat(300, 1, 5)];
t = [0, cumsum(lengths(1:end-1))]';
frames = [t, lengths(:)];
ref = 30 * (t / 60) .* exp(-t / 50) + 3 * (1 - exp(-t / 100)) .* exp(-t / 4000);   % kBq/ml

% Truths on 1 x 4 x 4 (Z x Y x X), k2 in 1/min.
[X, Y] = ndgrid(0:3, 0:3);
R1 = permute(0.7 + 0.15 * X, [3 2 1]);
k2 = permute(0.12 + 0.06 * Y, [3 2 1]);
BP = permute(0.5 + 0.6 * mod(X + 2 * Y, 4), [3 2 1]);

% Tissue curves: C = R1 ref + (k2 - k2a R1) (ref (*) exp(-k2a t)), ref linear
% between its samples (each interval's integral in closed form), 2% noise.
tissue = zeros(1, 4, 4, numel(t));
randn('seed', 3);
for i = 1:numel(R1)
  k = k2(i) / (1 + BP(i)) / 60;   % 1/s
  c = zeros(size(t));
  for n = 2:numel(t)
    a = t(1:n-1); b = t(2:n);
    ea = exp(-k * (t(n) - a)); eb = exp(-k * (t(n) - b));
    c(n) = sum((ref(2:n) .* eb - ref(1:n-1) .* ea) / k - diff(ref(1:n)) ./ (b - a) .* (eb - ea) / k^2);
  end
  curve = R1(i) * ref + (k2(i) / 60 - k * R1(i)) * c;
  [~, y, x] = ind2sub(size(R1), i);
  tissue(1, y, x, :) = reshape(curve .* (1 + 0.02 * randn(size(curve))), 1, 1, 1, []);
end

calls = {
  {'set', 'verbosity', 0}
  {'set', 'tac', 'reference', [frames(:, 1), ref]}
  {'set', 'data', 'reference', 'unit', 'kBq/ml'}
  {'select', 'input', 'LinearInterpolation'}
  {'set', 'input', 'init', 'reference'}
  {'select', 'model', 'Neuro_SLAM'}
  {'set', 'model', 'input', 'LinearInterpolation'}
  {'set', 'model', 'R1', 'min', 0}
  {'set', 'model', 'R1', 'max', 3}
  {'set', 'model', 'k2', 'min', 0.05}
  {'set', 'model', 'k2', 'max', 0.6}
  {'set', 'model', 'BPstar', 'min', 0}
  {'set', 'model', 'BPstar', 'max', 5}
  {'select', 'protocol', 'Generic'}
  {'set', 'protocol', 'model', 'Neuro_SLAM'}
  {'set', 'protocol', 'optimizer', 'GunnBFM'}
  {'select', 'optimizer', 'GunnBFM'}
  {'set', 'optimizer', 'maxiter', 100}            % grid points
  {'set', 'data', 'tissue', tissue, frames, 'kBq/ml'}
};
for i = 1:numel(calls)
  kinetra(calls{i}{:});
end
tic;
kinetra('process', 'tissue', 'none', 'none', true(1, 4, 4));
seconds = toc;
fR1 = kinetra('get', 'model', 'R1');
fk2 = kinetra('get', 'model', 'k2');
fBP = kinetra('get', 'model', 'BPstar');
kinetra('set', 'verbosity', 1);

printf('GunnBFM, 100 grid points: %d voxels in %.3f s\n', numel(R1), seconds);
printf('  x y |   R1 true    fit |   k2 true    fit |  BPstar true    fit\n');
for i = 1:numel(R1)
  [~, y, x] = ind2sub(size(R1), i);
  printf('  %d %d | %9.3f %6.3f | %9.3f %6.3f | %12.3f %6.3f\n', x - 1, y - 1, R1(i), fR1(i), k2(i), fk2(i), ...
         BP(i), fBP(i));
end
printf('median |relative error|: R1 %.3f, k2 %.3f, BPstar %.3f\n', median(abs(fR1(:) - R1(:)) ./ R1(:)), ...
       median(abs(fk2(:) - k2(:)) ./ k2(:)), median(abs(fBP(:) - BP(:)) ./ BP(:)));

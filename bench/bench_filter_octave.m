% The operations of bench_filter.cpp written as vectorised Octave, on data
% of the same size and kind: the comparison for the toolbox's figures.
% Run from the top of the clone:
%   octave --no-gui --norc --quiet --eval "addpath('bench'); bench_filter_octave"
% FILTER_SIZE="X Y Z T" makes the study smaller, as for bench_filter.
function bench_filter_octave()
  sz = [128 128 64 30];
  if ~isempty(getenv('FILTER_SIZE')), sz = sscanf(getenv('FILTER_SIZE'), '%d')'; end
  X = sz(1); Y = sz(2); Z = sz(3); T = sz(4);
  n = X * Y * Z;
  % Voxel i (x fastest) holds 100 (1 - exp(-k t)) + noise, k by i mod 5.
  k = 0.02 + 0.03 * mod((0:n - 1)', 5);
  C = 100 * (1 - exp(-k * (0:T - 1))) + 10 * rand(n, T);   % n x T, voxel order x, y, z
  d = permute(reshape(C, X, Y, Z, T), [3 2 1 4]);           % Matlab order Z x Y x X x T
  mask = reshape(mod(floor((0:n - 1)' / X), 3) == 0, X, Y, Z);
  maskZYX = permute(mask, [3 2 1]);
  lengths = 60 * ones(1, T);

  % movmean and movmedian take minutes at this size (their generic sliding
  % loop): they are timed on the first slice only and scaled, beside the
  % vectorised windows that a user would write instead.
  slice = d(1, :, :, :);
  report('tmean5 (movmean, scaled)', @() movmean(slice, 5, 4), Z);
  report('tmedian5 (movmedian, scaled)', @() movmedian(slice, 5, 4), Z);
  report('tmean5 (convn window)', @() convn(d, ones(1, 1, 1, 5) / 5, 'same'));
  report('tmedian5 (median of shifts)', @() median(shifts(d, 2), 5));
  c = savgol_coefficients(4, 4, 2);
  report('savgol4,4,2 (convn)', @() convn(d, reshape(c(end:-1:1), 1, 1, 1, []), 'same'));
  report('tpca0 (eig of the covariance)', @() pca(C));
  report('voi mean', @() mean(C(mask(:), :), 1));
  report('voi median', @() median(C(mask(:), :), 1));
  report('norm mean', @() normalise(d, maskZYX, mean(C(mask(:), :), 1)));
  v = d(:, :, :, 1);
  report('down2 (block sums)', @() down2(v));
  for run = {{5, 'L2', C}, {5, 'WL2', C}, {8, 'L2', C(:, end)}}
    [K, dist, S] = run{1}{:};
    w = ones(1, columns(S));
    if dist(1) == 'W', w = lengths(1:columns(S)); end
    tic; [labels, iterations] = kmeans_plain(S, K, w); t = toc;
    printf('%-32s %10.1f ms total, %d iterations, %8.2f ms per iteration\n', ...
           sprintf('k-means K=%d %s %dD', K, dist, 3 + (columns(S) > 1)), 1e3 * t, iterations, 1e3 * t / max(1, iterations));
  end
  s = fileread('/proc/self/status');
  peak = regexp(s, 'VmHWM:\s*(\d+)', 'tokens', 'once');
  printf('peak resident size %.0f MB\n', str2double(peak{1}) / 1024);
end

function report(name, f, scale)
  % One call (the data are large enough), times scale.
  if nargin < 3, scale = 1; end
  tic;
  r = f();
  printf('%-32s %10.1f ms per call\n', name, 1e3 * toc * scale);
  fflush(stdout);
end

function s = shifts(d, h)
  % The frames t-h..t+h of every frame side by side along dimension 5, the
  % ends repeated.
  T = size(d, 4);
  s = zeros([size(d), 2 * h + 1]);
  for k = -h:h
    s(:, :, :, :, k + h + 1) = d(:, :, :, min(max((1:T) + k, 1), T));
  end
end

function c = savgol_coefficients(nl, nr, m)
  % Least-squares weights of the window -nl..nr for the value at 0.
  A = (-nl:nr)' .^ (0:m);
  c = (A' * A) \ A';
  c = c(1, :);
end

function Y = pca(C)
  Xc = C - mean(C, 2);
  [V, L] = eig(Xc' * Xc / rows(Xc));
  [~, order] = sort(diag(L), 'descend');
  Y = Xc * V(:, order);
end

function d = normalise(d, mask, m)
  T = size(d, 4);
  d = reshape(d, [], T);
  d(mask(:), :) = d(mask(:), :) ./ m;
  d = reshape(d, [size(mask) T]);
end

function o = down2(v)
  s = floor(size(v) / 2) * 2;
  v = v(1:s(1), 1:s(2), 1:s(3));
  o = (v(1:2:end, 1:2:end, 1:2:end) + v(2:2:end, 1:2:end, 1:2:end) + v(1:2:end, 2:2:end, 1:2:end) + ...
       v(2:2:end, 2:2:end, 1:2:end) + v(1:2:end, 1:2:end, 2:2:end) + v(2:2:end, 1:2:end, 2:2:end) + ...
       v(1:2:end, 2:2:end, 2:2:end) + v(2:2:end, 2:2:end, 2:2:end)) / 8;
end

function [labels, it] = kmeans_plain(S, K, w)
  % The toolbox's k-means: start means spaced over each column's range,
  % weighted squared distances through one matrix product, empty means 0.
  lo = min(S); hi = max(S);
  M = lo + (hi - lo) .* ((1:K)' - 0.5) / K;
  Sw = S .* w;
  s2 = sum(S .* Sw, 2);
  labels = zeros(rows(S), 1);
  for it = 0:100
    D = s2 - 2 * Sw * M' + sum(M .^ 2 .* w, 2)';
    [~, new] = min(D, [], 2);
    if isequal(new, labels), break; end
    labels = new;
    counts = accumarray(labels, 1, [K 1]);
    sums = zeros(K, columns(S));
    for k = 1:K
      sums(k, :) = sum(S(labels == k, :), 1);
    end
    M = sums ./ max(counts, 1);
  end
end

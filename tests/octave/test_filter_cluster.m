% The filter and cluster commands as a user meets them in Octave: results
% against Octave's own arithmetic on every element type, the messages of the
% refused forms, unsafe numbers that leave the workspace as it was, and
% k-means labels against a plain vectorised k-means.
% test_filter_cluster('name', ...) runs only the sections of these names.
function test_filter_cluster(varargin)
  run_sections('test_filter_cluster', {@time_filters_every_type, @voi_and_norm, @refused_and_unsafe, ...
                                       @kmeans_against_octave}, true, varargin);
end

function d = study()
  % 3 x 4 x 5 voxels (Z, Y, X), 9 frames of noisy curves.
  [z, y, x, t] = ndgrid(1:3, 1:4, 1:5, 1:9);
  d = 100 * (1 - exp(-0.3 * t)) .* (1 + 0.1 * x) + 7 * sin(3 * t + z + 2 * y + x);
end

function f = time_filters_every_type()
  f = {};
  d = study();
  for type = {'double', 'single', 'int32', 'uint16', 'int16', 'uint8'}
    data = cast(d, type{1});
    % tmean2: frame t averages frames lo = max(t-1,1) .. min(lo+2, 9); tmedian3: the median of t-1 .. t+1.
    windows = {'tmean2', @mean, @(t) max(t - 1, 1):min(max(t - 1, 1) + 2, 9)
               'tmedian3', @median, @(t) max(t - 1, 1):min(t + 1, 9)};
    for w = 1:rows(windows)
      [m, times, unit] = kinetra('filter', data, windows{w, 1});
      ref = zeros(size(d));
      for t = 1:9, ref(:, :, :, t) = windows{w, 2}(double(data(:, :, :, windows{w, 3}(t))), 4); end
      if ~isfloat(data), ref = fix(ref); end
      f = expect(f, isa(m, type{1}) && isequal(size(m), size(data)) && ...
                 max(abs(double(m(:)) - ref(:))) < 1e-4 * max(1, max(abs(ref(:)))), '%s of %s is off', windows{w, 1}, type{1});
      f = expect(f, isequal(times, zeros(9, 2)) && iscell(unit) && isempty(unit{1}), '%s has times or unit', windows{w, 1});
    end
  end
  % Savitzky-Golay: a quadratic in time survives inside the window's reach.
  [~, ~, ~, t] = ndgrid(1:2, 1:2, 1:2, 1:12);
  q = 3 + 0.5 * t - 0.2 * t .^ 2;
  s = kinetra('filter', q, 'savgol3,1,2');
  f = expect(f, max(max(max(max(abs(s(:, :, :, 4:11) - q(:, :, :, 4:11)))))) < 1e-9, 'savgol3,1,2 changes a quadratic');
  p0 = evalc('p = kinetra(''filter'', d, ''tpca0'');');
  evalc('p7 = kinetra(''filter'', d, ''tpca7'');');
  f = expect(f, isequal(p, p7) && ~isempty(strfind(p0, "Filter::tpca()\n  time normalization\n")), 'tpca0 and tpca7 differ');
  c = d - mean(d, 4);
  f = expect(f, abs(sum(p(:) .^ 2) - sum(c(:) .^ 2)) < 1e-6 * sum(c(:) .^ 2), 'tpca does not keep the curves'' length');
end

function f = voi_and_norm()
  f = {};
  d = study();
  quiet('set', 'data', 'd', d, [(0:8)' * 60, 60 * ones(9, 1)]);
  mask = false(3, 4, 5); mask(2, :, 2:4) = true;
  [m, times] = kinetra('filter', 'd', 'voi', mask, 'median');
  sel = reshape(d, [], 9)(mask(:), :);
  s = sort(sel);
  f = expect(f, isequal(squeeze(m)', s(floor(size(s, 1) / 2) + 1, :)), 'voi median is not the upper middle');
  f = expect(f, isequal(times, [(0:8)' * 60, 60 * ones(9, 1)]), 'voi statistic loses the frame times');
  m2 = false(3, 4, 5); m2(1, :, :) = true;
  n = kinetra('filter', 'd', 'norm', 'mean', mask, m2);
  ref = d;
  mu = mean(sel, 1);
  for t = 1:9
    ref(1, :, :, t) = d(1, :, :, t) / mu(t);
  end
  f = expect(f, max(abs(n(:) - ref(:))) < 1e-12, 'norm');
  f = expect(f, isequal(kinetra('get', 'data', 'd'), d), 'norm changed the dataset');
end

function f = refused_and_unsafe()
  f = {};
  d = study();
  before = evalc('kinetra(''show'', ''data'');');
  calls = {
    {'filter', d, 'decay', 2}, "WARNING: unknown filter type 'decay'"
    {'filter', d, 'nothing'}, "WARNING: Filter::compute () no kernel specified\n"
    {'filter', d(:, :, :, 1), 'crop3:1,0:0,0:0'}, "WARNING: invalid crop region (3:1,0:0,0:0) on 5x4x3 data"
    {'filter', d(:, :, :, 1), 'down0'}, "WARNING: invalid down-sampling factor 0 on 5x4x3 data\n"
    {'filter', d(:, :, :, 1), 'pad2'}, "WARNING: invalid pad size 2x2x2 on 5x4x3 data\n"
    {'filter', d(:, :, :, 1), 'pad99999'}, "WARNING: invalid pad size 99999x99999x99999 on 5x4x3 data\n"
    {'filter', d, 'tmedian-1'}, "WARNING: invalid filter size '-1'\n"
    {'filter', d, 'savgol99999999,1,2'}, "WARNING: invalid Savitzky-Golay window 99999999,1 of order 2\n"
    {'filter', d, 'voi', true(2, 2, 2), 'mean'}, ...
      "KINETRA: VOI '_filter_voi_' (2x2x2) is not on the grid of data '_filter_data_' (5x4x3)\n"
    {'cluster', d, -2, 'L2'}, "number of clusters must be > 0 \n"
    {'cluster', d, 1000, 'L2'}, "more than 255 clusters not supported! \n"
  };
  for i = 1:rows(calls)
    out = '';
    try
      out = quiet(calls{i, 1}{:});
    catch err
      f{end + 1} = sprintf('call %d: Octave error %s', i, err.message);
    end
    f = expect(f, numel(out) >= numel(calls{i, 2}) && strcmp(out(end - numel(calls{i, 2}) + 1:end), calls{i, 2}), ...
               'call %d prints "%s"', i, out);
  end
  f = expect(f, strcmp(before, evalc('kinetra(''show'', ''data'');')), 'the workspace changed');
  % NaN voxels stay unclustered.
  v = reshape(0:9, 1, 1, 10); v(4) = NaN;
  out = evalc('l = kinetra(''cluster'', v, 2, ''L2'');');
  f = expect(f, isequal(l(:)', [1 1 1 0 1 2 2 2 2 2]) && ~isempty(strfind(out, 'NaN')), 'NaN voxel labels %s', ...
             mat2str(l(:)'));
end

function f = kmeans_against_octave()
  f = {};
  d = study();
  X = reshape(d, [], 9);
  for K = [2 5]
    % Start means at (k - 0.5)/K of each frame's range; ties to the lowest.
    lo = min(X); hi = max(X);
    M = lo + (hi - lo) .* ((1:K)' - 0.5) / K;
    labels = zeros(rows(X), 1);
    for it = 1:100
      D = zeros(rows(X), K);
      for k = 1:K
        D(:, k) = sum((X - M(k, :)) .^ 2, 2);
      end
      [~, new] = min(D, [], 2);
      if isequal(new, labels), break; end
      labels = new;
      for k = 1:K
        if any(labels == k), M(k, :) = mean(X(labels == k, :), 1); else, M(k, :) = 0; end
      end
    end
    l = [];
    evalc('l = kinetra(''cluster'', d, K, ''L2'');');
    f = expect(f, isequal(double(l(:)), labels), 'k-means K=%d labels differ in %d voxels', K, sum(double(l(:)) ~= labels));
  end
end

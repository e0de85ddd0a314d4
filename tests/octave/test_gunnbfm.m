% The basis function method from the Octave prompt: a small reference-region
% map whose k2a values lie on grid nodes, and the runs it refuses, after
% which the same workspace still fits.
% test_gunnbfm('name', ...) runs only the sections of these names.
function test_gunnbfm(varargin)
  run_sections('test_gunnbfm', {@small_map, @refusals}, true, varargin);
end

% Truths on a 3 x 2 x 1 map (Z x Y x X = 1 x 2 x 3): k2 / (1 + BPstar) is a
% node of the 50-point grid 0.01:0.01:0.5 /min that the bounds below give,
% and k2 - k2a R1 is not 0 (else the data hold no k2a).
function [R1, k2, BP] = truths()
  R1 = reshape([1.2 0.8 1.0 0.9 0.6 1.1], 1, 2, 3);
  k2 = reshape([0.3 0.2 0.24 0.15 0.4 0.36], 1, 2, 3);
  BP = reshape([2 1 3 0.5 1.5 2], 1, 2, 3);
end

% The reference tissue model with Octave's own arithmetic:
%   C(t) = R1 ref(t) + (k2 - k2a R1) int_0^t ref(s) exp(-k2a (t - s)) ds,
% k2a = k2 / (1 + BPstar), ref piecewise linear through its samples, times in s.
function [frames, ref, tissue] = slam_data()
  lengths = [repmat(10, 1, 6), repmat(30, 1, 8), repmat(60, 1, 6), repmat(300, 1, 5)];
  t = [0, cumsum(lengths(1:end-1))]';
  frames = [t, lengths(:)];
  ref = 30 * (t / 60) .* exp(-t / 50) + 3 * (1 - exp(-t / 100)) .* exp(-t / 4000);
  [R1, k2, BP] = truths();
  tissue = zeros(1, 2, 3, numel(t));
  for i = 1:numel(R1)
    k2a = k2(i) / (1 + BP(i)) / 60;
    c = R1(i) * ref + (k2(i) / 60 - k2a * R1(i)) * conv_exp(t, ref, k2a);
    [~, y, x] = ind2sub([1 2 3], i);
    tissue(1, y, x, :) = reshape(c, 1, 1, 1, []);
  end
end

function c = conv_exp(t, y, k)
  % int_0^t(i) y(s) exp(-k (t(i) - s)) ds, interval by interval in closed form.
  c = zeros(size(t));
  for i = 2:numel(t)
    a = t(1:i-1); b = t(2:i);
    m = diff(y(1:i)) ./ (b - a);
    ea = exp(-k * (t(i) - a)); eb = exp(-k * (t(i) - b));
    c(i) = sum((y(2:i) .* eb - y(1:i-1) .* ea) / k - m .* (eb - ea) / k^2);
  end
end

function setup()
  [frames, ref, tissue] = slam_data();
  run_calls({
    {'set', 'tac', 'reference', [frames(:, 1), ref]}
    {'set', 'data', 'reference', 'unit', 'kBq/ml'}
    {'select', 'input', 'LinearInterpolation'}
    {'set', 'input', 'init', 'reference'}
    {'select', 'model', 'Neuro_SLAM'}
    {'set', 'model', 'input', 'LinearInterpolation'}
    {'set', 'model', 'R1', 'min', 0}
    {'set', 'model', 'R1', 'max', 3}
    {'set', 'model', 'k2', 'min', 0.05}
    {'set', 'model', 'k2', 'max', 0.5}
    {'set', 'model', 'BPstar', 'min', 0}
    {'set', 'model', 'BPstar', 'max', 4}
    {'select', 'protocol', 'Generic'}
    {'set', 'protocol', 'model', 'Neuro_SLAM'}
    {'set', 'protocol', 'optimizer', 'GunnBFM'}
    {'select', 'optimizer', 'GunnBFM'}
    {'set', 'optimizer', 'maxiter', 50}
    {'set', 'data', 'tissue', tissue, frames, 'kBq/ml'}});
end

% Processes the map and checks every voxel against the truths.
function f = fits(f, what)
  out = quiet('process', 'tissue', 'none', 'none', true(1, 2, 3));
  f = expect(f, isempty(regexp(out, 'ERROR \w+\(', 'once')), '%s: process printed %s', what, out);
  [R1, k2, BP] = truths();
  f = [f, cellfun(@(m) [what ': ' m], expect_maps({}, {'R1', 'k2', 'BPstar'}, {R1, k2, BP}, 1e-4), 'UniformOutput', false)];
end

function f = small_map()
  f = {};
  setup();
  f = fits(f, 'map');
  chi = kinetra('get', 'chisquare');
  f = expect(f, all(chi(:) < 1e-8), 'chi-square %s', mat2str(chi(:)'));
end

function f = refusals()
  f = {};
  setup();
  for n = [1 0 -2]
    quiet('set', 'optimizer', 'maxiter', n);
    out = quiet('process', 'tissue', 'none', 'none', true(1, 2, 3));
    f = expect(f, ~isempty(strfind(out, 'GunnBFM needs at least 2 basis functions')), 'maxiter %d: %s', n, out);
  end
  quiet('set', 'optimizer', 'maxiter', 50);
  f = fits(f, 'after maxiter 1');

  quiet('select', 'model', 'Generic_1TC');
  quiet('set', 'model', 'input', 'LinearInterpolation');
  quiet('set', 'protocol', 'model', 'Generic_1TC');
  out = quiet('process', 'tissue', 'none', 'none', true(1, 2, 3));
  msg = 'GunnBFM method only works for model Neuro_SLAM, not Generic_1TC';
  f = expect(f, ~isempty(strfind(out, msg)), 'Generic_1TC: %s', out);
  quiet('select', 'model', 'Neuro_SLAM');
  quiet('set', 'protocol', 'model', 'Neuro_SLAM');
  f = fits(f, 'after Generic_1TC');
end

% The Simplex optimizer from the Octave prompt: a small one-tissue fit that
% recovers the rates, its keys, and the trace of a voxel's passes.
% test_simplex('name', ...) runs only the sections of these names.
function test_simplex(varargin)
  addpath(fullfile(fileparts(mfilename('fullpath')), '..', '..', 'examples'));
  run_sections('test_simplex', {@small_fit, @trace}, true, varargin);
end

function setup(nx)
  [frames, plasma, tissue] = one_tissue_data(nx, 1, 1);
  run_calls([one_tissue_calls(frames, plasma, 'kBq/ml', [0.3 0.2], [1 0.05], [2 3], 'Simplex'); {
    {'set', 'optimizer', 'maxiter', 500}
    {'set', 'optimizer', 'delta_chisquare', 1e-12}
    {'set', 'data', 'tissue', tissue, frames, 'kBq/ml'}}]);
end

function f = small_fit()
  % Three noiseless voxels: each reaches the truth with its own steps; the
  % base's keys only.
  f = {};
  setup(3);
  [~, ~, ~, k1, k2] = one_tissue_data(3, 1, 1);
  out = quiet('process', 'tissue', 'none', 'none', true(1, 1, 3));
  f = expect(f, isempty(regexp(out, 'ERROR \w+\(', 'once')), 'process printed %s', out);
  f = expect_maps(f, {'k1', 'k2'}, {k1, k2}, 1e-3);
  n = kinetra('get', 'numiter');
  f = expect(f, all(n(:) > 0) && all(n(:) <= 2 * 500 + 2), 'numiter %s', mat2str(n(:)'));
  chi = kinetra('get', 'chisquare');
  f = expect(f, all(isfinite(chi(:))) && all(chi(:) < 1e-6), 'chi-square %s', mat2str(chi(:)'));
  quiet('set', 'optimizer', 'maxiter', 7);
  f = expect(f, kinetra('get', 'optimizer', 'maxiter') == 7, 'maxiter not stored');
  out = quiet('set', 'optimizer', 'delta', 1000);
  f = expect(f, strcmp(out, "WARNING: unknown optimizer parameter 'delta'\n"), 'delta printed "%s"', out);
end

function f = trace()
  % Verbosity 4 shows the passes; the indentation comes back after each voxel
  % (the protocol's own indent is 2).
  f = {};
  setup(2);
  quiet('set', 'optimizer', 'maxiter', 2);
  quiet('set', 'verbosity', 4);
  out = quiet('process', 'tissue', 'none', 'none', true(1, 1, 2));
  quiet('set', 'verbosity', 1);
  f = expect(f, ~isempty(strfind(out, "    ITERATION 0:\n")), 'no first pass in %s', out);
  f = expect(f, ~isempty(regexp(out, 'relArg=\S+ relTol=\S+ minErr=', 'once')), 'no pass report in %s', out);
  f = expect(f, ~isempty(strfind(out, "\n  VOXEL 1,0,0 (2 of 2)\n")), 'second voxel indented in %s', out);
  f = expect(f, ~isempty(regexp(out, 'FINISHED after \d+ iterations \(\d+\.\d{3}s\): chi\^2/d\.o\.f\. = \S+ due to ', 'once')), ...
             'no closing line in %s', out);
end

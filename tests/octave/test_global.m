% The global optimizer from the Octave prompt: its two settings with every
% value a user may type, a small fit within a short time limit, and boxes it
% cannot search. No call may stop Octave.
% test_global('name', ...) runs only the sections of these names.
function test_global(varargin)
  addpath(fullfile(fileparts(mfilename('fullpath')), '..', '..', 'examples'));
  run_sections('test_global', {@settings, @small_fit, @degenerate_boxes}, true, varargin);
end

function setup(max_time)
  [frames, plasma, tissue] = one_tissue_data(2, 1, 1);
  run_calls([one_tissue_calls(frames, plasma, 'kBq/ml', [1.5 2.5], [1 0.05], [2 3], 'MultiDimGlobal'); {
    {'set', 'optimizer', 'max_time', max_time}
    {'set', 'data', 'tissue', tissue, frames, 'kBq/ml'}}]);
end

function f = settings()
  f = {};
  quiet('select', 'optimizer', 'MultiDimGlobal');
  count = ''': a count from 1 to 2147483647 is needed';
  seconds = ''': a finite number of seconds, not negative, is needed';
  cases = {
    'delta', 1000, ''
    'delta', 0.5, ['WARNING: invalid value 0.5 for optimizer parameter ''delta' count]
    'delta', -1, ['WARNING: invalid value -1 for optimizer parameter ''delta' count]
    'delta', 1e10, ['WARNING: invalid value 1e+10 for optimizer parameter ''delta' count]
    'max_time', 0.5, ''
    'max_time', NaN, ['WARNING: invalid value nan for optimizer parameter ''max_time' seconds]
    'max_time', Inf, ['WARNING: invalid value inf for optimizer parameter ''max_time' seconds]
    'max_time', -2, ['WARNING: invalid value -2 for optimizer parameter ''max_time' seconds]
    'max_time', '7', 'KINETRA: unknown or invalid command ''set optimizer max_time 7'''
  };
  for i = 1:rows(cases)
    out = quiet('set', 'optimizer', cases{i, 1}, cases{i, 2});
    expected = cases{i, 3};
    if ~isempty(expected), expected = [expected "\n"]; end
    f = expect(f, strcmp(out, expected), 'set %s %s printed "%s"', cases{i, 1}, num2str(cases{i, 2}), out);
  end
  out = quiet('get', 'optimizer', 'max_time');
  f = expect(f, ~isempty(strfind(out, 'unknown optimizer parameter ''max_time''')), 'get max_time: %s', out);
  quiet('select', 'optimizer', 'Levenberg-Marquardt');
  out = quiet('set', 'optimizer', 'delta', 10);
  f = expect(f, strcmp(out, "WARNING: unknown optimizer parameter 'delta'\n"), 'delta on LM: %s', out);
end

function f = small_fit()
  % Two noiseless voxels from a start far from the truth, 0.2 s each.
  f = {};
  setup(0.2);
  [~, ~, ~, k1, k2] = one_tissue_data(2, 1, 1);
  tic;
  out = quiet('process', 'tissue', 'none', 'none', true(1, 1, 2));
  seconds = toc;
  f = expect(f, isempty(regexp(out, 'ERROR \w+\(', 'once')), 'process printed %s', out);
  f = expect(f, seconds < 2, 'two voxels took %.2f s', seconds);
  f = expect_maps(f, {'k1', 'k2'}, {k1, k2}, 1e-3);
  chi = kinetra('get', 'chisquare');
  f = expect(f, all(isfinite(chi(:))) && all(chi(:) < 1e-3), 'chi-square %s', mat2str(chi(:)'));
end

function f = degenerate_boxes()
  % Each run prints its message and leaves finite maps; Octave goes on.
  f = {};
  cases = {
    {'k1', 'min', -1e308, 'k1', 'max', 1e308}, 'give no finite range to search'
    {'k2', 'max', 0}, 'bounds MUST be set for all free parameters'
    {'k1', 'state', 'const', 'k2', 'state', 'const'}, 'no fitted parameter has a range to search'
  };
  for i = 1:rows(cases)
    quiet('reset');
    setup(0.05);
    settings = cases{i, 1};
    for j = 1:3:numel(settings)
      quiet('set', 'model', settings{j:j + 2});
    end
    out = quiet('process', 'tissue', 'none', 'none', true(1, 1, 2));
    f = expect(f, ~isempty(strfind(out, cases{i, 2})), 'case %d printed %s', i, out);
    fk1 = kinetra('get', 'model', 'k1');
    chi = kinetra('get', 'chisquare');
    f = expect(f, numel(chi) == 2 && all(isfinite([fk1(:); chi(:)])) && all(chi(:) < 1e300), ...
               'case %d: k1 %g, chi-square %g', i, fk1(1), chi(1));
  end
end

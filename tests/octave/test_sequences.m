% Ordinary sequences of calls as a user makes them: fits on grids of the same
% count, inputs initialised from several grids, results read after refused
% calls, renamed temporaries, every form with 1 to 4 outputs, and sparse and
% complex arrays wherever an array is passed. No call may stop the script,
% and every result must have the shape of what it describes.
% test_sequences('name', ...) runs only the sections of these names.
function test_sequences(varargin)
  addpath(fullfile(fileparts(mfilename('fullpath')), '..', '..', 'examples'));
  sections = {@two_grids_of_one_count, @input_from_other_grids, @results_after_refused_process, ...
              @renamed_temporary, @every_form_every_output_count, @sparse_and_complex_arrays};
  run_sections('test_sequences', sections, true, varargin);
end

function out = run(varargin)
  % One call with its printed text returned instead of shown.
  out = evalc('kinetra(varargin{:});');
end

function setup_fit(frames, plasma)
  % The linear input from the plasma curve, Generic_1TC fitted by Levenberg-Marquardt.
  calls = one_tissue_calls(frames, plasma, '', [0.3 0.1], [1 0.05], [], 'Levenberg-Marquardt');
  for i = 1:numel(calls)
    run(calls{i}{:});
  end
end

function [f, k1, k2, frames] = fit_grid(f, name, nx, ny, nz)
  % Fits noiseless data of nz x ny x nx voxels and checks the maps against the truth.
  [frames, plasma, tissue, k1, k2] = one_tissue_data(nx, ny, nz);
  setup_fit(frames, plasma);
  run('set', 'data', name, tissue, frames);
  out = run('process', name, 'none', 'none', true(nz, ny, nx));
  f = expect(f, isempty(strfind(out, 'singular')), 'fit of %s reports singular voxels', name);
  fk1 = kinetra('get', 'model', 'k1');
  f = expect(f, isequal(size(fk1), size(k1)), 'k1 of %s has size %s, expected %s', name, ...
             mat2str(size(fk1)), mat2str(size(k1)));
  if isequal(size(fk1), size(k1))
    f = expect(f, max(abs(fk1(:) - k1(:)) ./ k1(:)) < 1e-2, 'k1 of %s is off by %g', name, ...
               max(abs(fk1(:) - k1(:)) ./ k1(:)));
  end
  for topic = {'chisquare', 'numiter', 'exit', 'ftest'}
    m = kinetra('get', topic{1});
    f = expect(f, isequal(size(m), size(k1)), 'get %s after %s has size %s', topic{1}, name, mat2str(size(m)));
  end
end

function f = two_grids_of_one_count()
  % 2x4x4 and then 4x4x2: the same 32 voxels on another grid.
  f = {};
  f = fit_grid(f, 'first', 4, 4, 2);
  f = fit_grid(f, 'second', 2, 4, 4);
  f = fit_grid(f, 'third', 4, 4, 2);
end

function f = input_from_other_grids()
  % The input takes its samples from a 4-curve TAC, then from a 2x2x1 series
  % of the same count, then from a single curve: its maps follow each grid.
  f = {};
  t = (0:60:600)';
  curves = [t, t / 10, t / 20, t / 30, t / 40];
  run('set', 'tac', 'four', curves);
  run('select', 'input', 'LinearInterpolation');
  run('set', 'input', 'init', 'four');
  y3 = kinetra('get', 'input', 'y3');
  f = expect(f, isequal(size(y3), [1 1 4]) && isequal(y3(:)', curves(4, 2:5)), 'y3 from the TAC: %s', mat2str(y3(:)'));
  series = reshape(repmat(1:4, numel(t), 1)' .* reshape(t', 1, []), 2, 2, 1, numel(t));
  run('set', 'data', 'square', series, [t, 60 * ones(size(t))]);
  run('set', 'input', 'init', 'square');
  y3 = kinetra('get', 'input', 'y3');
  f = expect(f, isequal(size(y3), [2 2]) && isequal(y3, series(:, :, 1, 4)), 'y3 from the 2x2 series: %s', mat2str(y3(:)'));
  run('set', 'tac', 'one', [t, t]);
  run('set', 'input', 'init', 'one');
  y3 = kinetra('get', 'input', 'y3');
  f = expect(f, isequal(y3, t(4)), 'y3 from one curve: %s', mat2str(y3(:)'));
end

function f = results_after_refused_process()
  % After a fit of 4x4x2 voxels, a process that is refused (a mask of another
  % grid) leaves the results of that fit: statistics and curves line up with
  % the maps, and nothing outside the grid of the fit is read.
  f = {};
  [f, k1, ~, frames] = fit_grid(f, 'fitted', 2, 4, 4);
  [~, ~, other] = one_tissue_data(4, 4, 2);
  run('set', 'data', 'other', other, frames);
  before = {kinetra('get', 'chisquare'), kinetra('get', 'numiter'), kinetra('get', 'ftest')};
  out = run('process', 'other', 'none', 'none', true(3, 3, 3));
  f = expect(f, ~isempty(out), 'the refused process printed nothing');
  after = {kinetra('get', 'chisquare'), kinetra('get', 'numiter'), kinetra('get', 'ftest')};
  for i = 1:numel(after)
    f = expect(f, isequal(size(after{i}), size(k1)), 'statistic %d after the refusal has size %s', i, mat2str(size(after{i})));
    f = expect(f, isequaln(after{i}, before{i}), 'statistic %d changed although the process was refused', i);
    f = expect(f, all(isfinite(double(after{i}(:)))), 'statistic %d is not finite', i);
  end
  tac = kinetra('get', 'tac', 'fitted', 'none', [1 3 3]);
  f = expect(f, isequal(size(tac), [size(frames, 1), 5]) && all(isfinite(tac(:))), 'tac inside the fit: %s', mat2str(size(tac)));
  % A point inside 'other' (4x4x2 voxels) but outside the 2x4x4 maps of the fit.
  first = kinetra('get', 'tac', 'other', 'none', [3 0 0]);
  second = kinetra('get', 'tac', 'other', 'none', [3 0 0]);
  f = expect(f, isequaln(first, second), 'tac beyond the fit changes between calls');
  f = expect(f, ~isnumeric(first) || all(isfinite(first(:))), 'tac beyond the fit holds garbage');
end

function f = renamed_temporary()
  % The data given as an array become '_data_'; after renaming it, a new array
  % makes a new temporary and the fit goes on the new grid.
  f = {};
  [frames, plasma, tissue, k1] = one_tissue_data(2, 2, 2);
  setup_fit(frames, plasma);
  run('process', tissue, 'none', 'none', true(size(k1)));
  run('set', 'data', '_data_', 'name', 'kept');
  [~, ~, bigger, k1b] = one_tissue_data(3, 2, 1);
  run('process', bigger, 'none', 'none', true(size(k1b)));
  fk1 = kinetra('get', 'model', 'k1');
  f = expect(f, isequal(size(fk1), size(k1b)), 'k1 after the renamed temporary has size %s', mat2str(size(fk1)));
  % An array carries no frame times: the same array under a name of its own
  % must give the same fit, whatever that fit is.
  run('set', 'data', 'reference', bigger);
  run('process', 'reference', 'none', 'none', true(size(k1b)));
  rk1 = kinetra('get', 'model', 'k1');
  f = expect(f, isequaln(fk1, rk1), 'k1 after the rename is not the fit of the new array');
  run('set', 'data', '_data_', 'name', 'again');
  run('process', tissue, 'none', 'none', true(size(k1)));
  fk1 = kinetra('get', 'model', 'k1');
  f = expect(f, isequal(size(fk1), size(k1)), 'k1 after the second rename has size %s', mat2str(size(fk1)));
end

function f = every_form_every_output_count()
  % Every form, working or failing, with 1 to 4 outputs requested: each output
  % gets a value, so no assignment fails.
  f = {};
  [frames, plasma, tissue] = one_tissue_data(2, 2, 1);
  setup_fit(frames, plasma);
  run('set', 'data', 'd', tissue, frames);
  run('set', 'voi', 'v', true(1, 2, 2));
  run('process', 'd', 'none', 'none', 'v');
  forms = {{}, {'help'}, {'help', 'set'}, {'nosuch'}, {17}, {'exit'}, {'quit'}, {'status'}, ...
    {'show'}, {'show', 'model'}, {'select', 'model', 'Generic_1TC'}, {'select', 'model', 'nosuch'}, {'select'}, ...
    {'create', 'data', 'd'}, {'delete', 'data', 'nosuch'}, {'read', 'data', 'nosuch'}, {'write', 'data', 'd'}, ...
    {'filter', 'd', 'decay', 1}, {'cluster', 'd'}, {'process'}, {'process', 'nosuch', 'none', 'none', 'none'}, ...
    {'set'}, {'set', 'verbosity', 1}, {'set', 'data', 'd', 'unit', 'kBq/ml'}, {'set', 'model', 'k1', 'min', 0}, ...
    {'set', 'nosuch', 1}, {'get'}, {'get', 'data'}, {'get', 'data', 'd'}, {'get', 'data', 'd', 'size'}, ...
    {'get', 'data', 'd', 'volume', 0}, {'get', 'data', 'd', 'slice', 0, 0}, {'get', 'data', 'nosuch'}, ...
    {'get', 'model'}, {'get', 'model', 'k1'}, {'get', 'model', 'unit'}, {'get', 'model', 'k1', 'der', [0 60]}, ...
    {'get', 'model', 'nosuch'}, {'get', 'input', 'y0'}, {'get', 'unit', 'kBq/ml'}, {'get', 'unit', 'nosuch'}, ...
    {'get', 'voi', 'v'}, {'get', 'voi', 'nosuch'}, {'get', 'current', 'model'}, {'get', 'current', 'data'}, ...
    {'get', 'verbosity'}, {'get', 'optimizer', 'maxiter'}, {'get', 'optimizer', 'nosuch'}, {'get', 'chisquare'}, ...
    {'get', 'numiter'}, {'get', 'tac', 'd', 'none', 'v'}, {'get', 'tac', 'd', 'none', [0 0 0]}, {'get', 'tac'}, ...
    {'get', 'nosuch'}, {'reset'}};
  for i = 1:numel(forms)
    for n = 1:4
      o = cell(1, n);
      try
        evalc('[o{1:n}] = kinetra(forms{i}{:});');
        f = expect(f, numel(o) == n, '%s with %d outputs', describe(forms{i}), n);
      catch err
        f{end + 1} = sprintf('%s with %d outputs: %s', describe(forms{i}), n, err.message);
      end
      clear o;
    end
  end
end

function s = describe(form)
  s = strjoin(cellfun(@(a) ifelse(ischar(a), a, '#'), form, 'UniformOutput', false), ' ');
  if isempty(s), s = '(no arguments)'; end
end

function r = ifelse(c, a, b)
  if c, r = a; else, r = b; end
end

function f = sparse_and_complex_arrays()
  % Every place that takes an array, given a sparse array (its full form's
  % result) and a complex one (refused with a message, nothing added).
  f = {};
  [frames, plasma, tissue] = one_tissue_data(2, 2, 1);
  setup_fit(frames, plasma);
  run('set', 'data', 'd', tissue, frames);
  T = size(frames, 1);
  places = {
    % form with the array as ARG, the full array, and a probe of its effect
    {{'set', 'data', 'x', 'ARG'}, [0 1.5; 0 0; -2 0], {'get', 'data', 'x', 'size'}}
    {{'set', 'data', 'x', tissue, 'ARG'}, frames, {'get', 'data', 'x'}}
    {{'set', 'tac', 'x', 'ARG'}, [frames(:, 1), plasma, zeros(T, 1)], {'get', 'data', 'x'}}
    {{'set', 'voi', 'x', 'ARG'}, true, {'get', 'voi', 'x'}}
    {{'set', 'model', 'k1', 'value', 'ARG'}, 0, {'get', 'model', 'k1'}}
    {{'set', 'model', 'k2', 'initvalue', 'ARG'}, 0.2, {'get', 'model', 'k2'}}
    {{'set', 'model', 'k1', 'max', 'ARG'}, 5, {'get', 'model', 'k1'}}
    {{'set', 'input', 'cache', 'ARG'}, 100, {'get', 'verbosity'}}
    {{'set', 'input', 'size', 'ARG'}, 0, {'get', 'input', 'y0'}}
    {{'set', 'optimizer', 'maxiter', 'ARG'}, 40, {'get', 'optimizer', 'maxiter'}}
    {{'set', 'seed', 'ARG'}, 7, {'get', 'verbosity'}}
    {{'set', 'verbosity', 'ARG'}, 1, {'get', 'verbosity'}}
    {{'set', 'data', 'd', 'midframe_approx', 'ARG'}, 0, {'get', 'data', 'd', 'size'}}
    {{'get', 'model', 'k1', 'der', 'ARG'}, [0 60 0 120], {'get', 'verbosity'}}
    {{'get', 'tac', 'd', 'none', 'ARG'}, [1 0 0], {'get', 'verbosity'}}
    {{'get', 'data', 'd', 'volume', 'ARG'}, 1, {'get', 'verbosity'}}
    {{'get', 'data', 'd', 'slice', 'ARG', 0}, 1, {'get', 'verbosity'}}
    {{'process', 'ARG', 'none', 'none', 'none'}, tissue, {'get', 'data'}}
  };
  for i = 1:numel(places)
    [form, value, probe] = places{i}{:};
    at = find(cellfun(@(a) ischar(a) && strcmp(a, 'ARG'), form));
    label = describe(form);
    variants = {value};
    if ndims(value) == 2 && (isa(value, 'double') || islogical(value)), variants{end + 1} = sparse(value); end
    results = {};
    for k = 1:numel(variants)
      evalc('kinetra(''reset'');');
      setup_fit(frames, plasma);
      run('set', 'data', 'd', tissue, frames);
      form{at} = variants{k};
      [out, result] = call_and_probe(form, probe);
      results{k} = {out, result};
    end
    if numel(results) == 2
      f = expect(f, isequaln(results{1}, results{2}), '%s: the sparse array differs from the full one', label);
    end
    if isnumeric(value)
      evalc('kinetra(''reset'');');
      setup_fit(frames, plasma);
      run('set', 'data', 'd', tissue, frames);
      [~, untouched] = call_and_probe({'get', 'verbosity'}, probe);
      form{at} = complex(value, ones(size(value)));
      [out, result] = call_and_probe(form, probe);
      f = expect(f, ~isempty(strfind(out, 'complex arrays are not supported')), '%s: complex not refused: %s', label, out);
      f = expect(f, isequaln(result{3}, untouched{3}), '%s: the complex array changed the workspace', label);
      f = expect(f, isequal(result(1:2), {false, false}), '%s: the complex array gave a result', label);
    end
  end
  % Large sparse arrays: a 2000x2000 dataset of zeros, a million times.
  run('set', 'data', 'big', sparse(2000, 2000));
  sz = kinetra('get', 'data', 'big', 'size');
  f = expect(f, isequal(sz, [2000; 2000]), 'sparse 2000x2000 data has size %s', mat2str(sz));
  der = kinetra('get', 'model', 'k1', 'der', sparse(1, 1e6));
  f = expect(f, isequal(size(der), [1e6 1]) && all(der == der(1)), 'derivative at a million zero times');
end

function [out, result] = call_and_probe(form, probe)
  out = evalc('[r1, r2] = kinetra(form{:});');
  result = {r1, r2, kinetra(probe{:})};
end

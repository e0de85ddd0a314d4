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

function setup_fit(frames, plasma, tissue)
  % The linear input from the plasma curve, Generic_1TC fitted by
  % Levenberg-Marquardt, and the tissue curves as data 'd' if given.
  run_calls(one_tissue_calls(frames, plasma, '', [0.3 0.1], [1 0.05], [], 'Levenberg-Marquardt'));
  if nargin > 2, quiet('set', 'data', 'd', tissue, frames); end
end

function [f, k1, k2, frames] = fit_grid(f, name, nx, ny, nz)
  % Fits noiseless data of nz x ny x nx voxels and checks the maps against the truth.
  [frames, plasma, tissue, k1, k2] = one_tissue_data(nx, ny, nz);
  setup_fit(frames, plasma);
  quiet('set', 'data', name, tissue, frames);
  out = quiet('process', name, 'none', 'none', true(nz, ny, nx));
  f = expect(f, isempty(strfind(out, 'singular')), 'fit of %s reports singular voxels', name);
  f = expect_maps(f, {'k1'}, {k1}, 1e-2);
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
  quiet('set', 'tac', 'four', curves);
  quiet('select', 'input', 'LinearInterpolation');
  quiet('set', 'input', 'init', 'four');
  y3 = kinetra('get', 'input', 'y3');
  f = expect(f, isequal(size(y3), [1 1 4]) && isequal(y3(:)', curves(4, 2:5)), 'y3 from the TAC: %s', mat2str(y3(:)'));
  series = reshape(repmat(1:4, numel(t), 1)' .* reshape(t', 1, []), 2, 2, 1, numel(t));
  quiet('set', 'data', 'square', series, [t, 60 * ones(size(t))]);
  quiet('set', 'input', 'init', 'square');
  y3 = kinetra('get', 'input', 'y3');
  f = expect(f, isequal(size(y3), [2 2]) && isequal(y3, series(:, :, 1, 4)), 'y3 from the 2x2 series: %s', mat2str(y3(:)'));
  quiet('set', 'tac', 'one', [t, t]);
  quiet('set', 'input', 'init', 'one');
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
  quiet('set', 'data', 'other', other, frames);
  before = {kinetra('get', 'chisquare'), kinetra('get', 'numiter'), kinetra('get', 'ftest')};
  out = quiet('process', 'other', 'none', 'none', true(3, 3, 3));
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
  quiet('process', tissue, 'none', 'none', true(size(k1)));
  quiet('set', 'data', '_data_', 'name', 'kept');
  [~, ~, bigger, k1b] = one_tissue_data(3, 2, 1);
  quiet('process', bigger, 'none', 'none', true(size(k1b)));
  fk1 = kinetra('get', 'model', 'k1');
  f = expect(f, isequal(size(fk1), size(k1b)), 'k1 after the renamed temporary has size %s', mat2str(size(fk1)));
  % An array carries no frame times: the same array under a name of its own
  % must give the same fit, whatever that fit is.
  quiet('set', 'data', 'reference', bigger);
  quiet('process', 'reference', 'none', 'none', true(size(k1b)));
  rk1 = kinetra('get', 'model', 'k1');
  f = expect(f, isequaln(fk1, rk1), 'k1 after the rename is not the fit of the new array');
  quiet('set', 'data', '_data_', 'name', 'again');
  quiet('process', tissue, 'none', 'none', true(size(k1)));
  fk1 = kinetra('get', 'model', 'k1');
  f = expect(f, isequal(size(fk1), size(k1)), 'k1 after the second rename has size %s', mat2str(size(fk1)));
end

function f = every_form_every_output_count()
  % Every form, working or failing, with 1 to 4 outputs requested: each output
  % gets a value, so no assignment fails.
  f = {};
  [frames, plasma, tissue] = one_tissue_data(2, 2, 1);
  setup_fit(frames, plasma, tissue);
  quiet('set', 'voi', 'v', true(1, 2, 2));
  quiet('process', 'd', 'none', 'none', 'v');
  forms = {{}, {'help', 'set'}, {'nosuch'}, {17}, {'exit'}, {'status'}, {'show', 'model'}, {'select'}, ...
    {'create', 'data', 'd'}, {'read', 'data', 'nosuch'}, {'filter', 'd', 'decay', 1}, {'cluster', 'd'}, {'process'}, ...
    {'set', 'nosuch', 1}, {'get', 'data', 'd'}, {'get', 'model', 'k1'}, {'get', 'model', 'k1', 'der', [0 60]}, ...
    {'get', 'unit', 'kBq/ml'}, {'get', 'voi', 'v'}, {'get', 'current', 'model'}, {'get', 'chisquare'}, ...
    {'get', 'tac', 'd', 'none', 'v'}, {'get', 'nosuch'}, {'reset'}};
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
  % Places that take an array, given a sparse array (its full form's result)
  % and a complex one (refused with a message, nothing added).
  f = {};
  [frames, plasma, tissue] = one_tissue_data(2, 2, 1);
  T = size(frames, 1);
  places = {
    % form with the array as ARG, the full array, and a probe of its effect
    {'set', 'data', 'x', 'ARG'}, [0 1.5; 0 0; -2 0], {'get', 'data', 'x', 'size'}
    {'set', 'data', 'x', tissue, 'ARG'}, frames, {'get', 'data', 'x'}
    {'set', 'tac', 'x', 'ARG'}, [frames(:, 1), plasma, zeros(T, 1)], {'get', 'data', 'x'}
    {'set', 'voi', 'x', 'ARG'}, true, {'get', 'voi', 'x'}
    {'set', 'model', 'k2', 'initvalue', 'ARG'}, 0.2, {'get', 'model', 'k2'}
    {'set', 'optimizer', 'maxiter', 'ARG'}, 40, {'get', 'optimizer', 'maxiter'}
    {'set', 'data', 'd', 'midframe_approx', 'ARG'}, 0, {'get', 'data', 'd', 'size'}
    {'get', 'data', 'd', 'slice', 'ARG', 0}, 1, {'get', 'verbosity'}
    {'get', 'model', 'k1', 'der', 'ARG'}, [0 60 0 120], {'get', 'verbosity'}
    {'get', 'tac', 'd', 'none', 'ARG'}, [1 0 0], {'get', 'verbosity'}
    {'process', 'ARG', 'none', 'none', 'none'}, tissue, {'get', 'data'}
  };
  for i = 1:rows(places)
    [form, value, probe] = places{i, :};
    at = find(cellfun(@(a) ischar(a) && strcmp(a, 'ARG'), form));
    label = describe(form);
    if ndims(value) == 2
      form{at} = value;
      full = call_and_probe(form, probe, frames, plasma, tissue);
      form{at} = sparse(value);
      f = expect(f, isequaln(call_and_probe(form, probe, frames, plasma, tissue), full), ...
                 '%s: the sparse array differs from the full one', label);
    end
    if isnumeric(value)
      untouched = call_and_probe({'get', 'verbosity'}, probe, frames, plasma, tissue);
      form{at} = complex(value, ones(size(value)));
      result = call_and_probe(form, probe, frames, plasma, tissue);
      f = expect(f, ~isempty(strfind(result{1}, 'complex arrays are not supported')), '%s: complex not refused: %s', ...
                 label, result{1});
      f = expect(f, isequaln(result{4}, untouched{4}), '%s: the complex array changed the workspace', label);
      f = expect(f, isequal(result(2:3), {false, false}), '%s: the complex array gave a result', label);
    end
  end
  % Large sparse arrays: a 2000x2000 dataset of zeros, a million times.
  quiet('set', 'data', 'big', sparse(2000, 2000));
  sz = kinetra('get', 'data', 'big', 'size');
  f = expect(f, isequal(sz, [2000; 2000]), 'sparse 2000x2000 data has size %s', mat2str(sz));
  der = kinetra('get', 'model', 'k1', 'der', sparse(1, 1e6));
  f = expect(f, isequal(size(der), [1e6 1]) && all(der == der(1)), 'derivative at a million zero times');
end

function result = call_and_probe(form, probe, frames, plasma, tissue)
  % On a fresh workspace with data 'd': the call's text and two outputs, then the probe.
  quiet('reset');
  setup_fit(frames, plasma, tissue);
  out = evalc('[r1, r2] = kinetra(form{:});');
  result = {out, r1, r2, kinetra(probe{:})};
end

% The hypoxia tracer's input and the parametric reference function through
% the commands: refused parameter counts, start values from data, values
% and derivatives read back.
function test_hypoxia_inputs()
  run_sections('test_hypoxia_inputs', {@fmiso_sizes_and_der, @fmiso_init_from_voxel_zero, @mcn_sizes_and_init}, true);
end

function f = fmiso_sizes_and_der()
  f = {};
  quiet('select', 'input', 'FMISO_InputFunction');
  % Not tau, A0, c0 and whole terms: a message, and the nine parameters stay.
  out = quiet('set', 'input', 'size', 7);
  f = expect(f, ~isempty(strfind(out, 'parameters are not')), 'size 7: %s', out);
  f = expect(f, isscalar(kinetra('get', 'input', 'c22')), 'c22 gone after a refused size');
  quiet('set', 'input', 'size', 6);
  out = quiet('get', 'input', 'c22');
  f = expect(f, ~isempty(strfind(out, 'has no parameter')), 'size 6 keeps c22: %s', out);
  values = {'tau', 60; 'A0', 30; 'c0', 2; 'A1', 4; 'c11', 0.05; 'c21', 0.9};
  for i = 1:rows(values), quiet('set', 'input', values{i, 1}, 'value', values{i, 2}); end
  f = expect(f, kinetra('get', 'input', 'c0') == 2, 'c0 read back');
  t = [0 30 120 600];
  x = t / 60;
  d = kinetra('get', 'input', 'A0', 'der', t);
  f = expect(f, max(abs(d(:)' - x .* exp(-2 * x))) < 1e-12, 'der A0: %s', mat2str(d(:)'));
  d = kinetra('get', 'input', 'c21', 'der', t);
  f = expect(f, max(abs(d(:)' - 4 * x .* exp(-0.9 * x))) < 1e-12, 'der c21: %s', mat2str(d(:)'));
  % Deliberately no derivative by tau.
  d = kinetra('get', 'input', 'tau', 'der', t);
  f = expect(f, all(d(:) == 0), 'der tau: %s', mat2str(d(:)'));
end

function f = fmiso_init_from_voxel_zero()
  % 'set input init' passes no VOI to this input: the curve of voxel
  % (0, 0, 0) is used. Voxel 0 peaks in frame 3 (120 to 180 s), voxel 1 in frame 7.
  f = {};
  quiet('select', 'input', 'FMISO_InputFunction');
  quiet('set', 'input', 'tau', 'value', 60);
  T = 10;
  series = zeros(2, 1, 1, T);
  series(1, 1, 1, :) = [0 1 3 9 5 4 3 2 1.5 1];
  series(2, 1, 1, :) = [0 1 2 3 4 5 6 9 7 5];
  quiet('set', 'data', 'two', series, [(0:T - 1)' * 60, 60 * ones(T, 1)]);
  quiet('set', 'input', 'init', 'two');
  [~, ~, c0] = kinetra('get', 'input', 'c0');
  tmax = 60 / c0;
  f = expect(f, tmax >= 180 && tmax <= 240, 'peak of the rise at %g s, not in frame 3', tmax);
  % A peak in the last frame: a message, the start values stay.
  quiet('set', 'tac', 'late', [(0:T - 1)' * 60, (1:T)']);
  out = quiet('set', 'input', 'init', 'late');
  f = expect(f, ~isempty(strfind(out, 'invalid data for input function parameter initialization')), 'late: %s', out);
  [~, ~, again] = kinetra('get', 'input', 'c0');
  f = expect(f, again == c0, 'c0 changed by a refused init');
end

function f = mcn_sizes_and_init()
  f = {};
  quiet('select', 'input', 'McN_ReferenceFunction');
  out = quiet('set', 'input', 'size', 4);
  f = expect(f, ~isempty(strfind(out, 'parameters are not')), 'size 4: %s', out);
  f = expect(f, isscalar(kinetra('get', 'input', 'c3')), 'c3 gone after a refused size');
  values = {'lambda', 0.1; 'a1', 5; 'a2', 10; 'a3', 2; 'b3', 4; 'c3', 1.5};  % a2 = 1/lambda
  for i = 1:rows(values), quiet('set', 'input', values{i, 1}, 'value', values{i, 2}); end
  d = kinetra('get', 'input', 'a2', 'der', [0 60 600]);
  f = expect(f, all(isfinite(d(:))) && d(1) == 0 && any(d(:) ~= 0), 'der a2 at q = 0: %s', mat2str(d(:)'));
  quiet('set', 'tac', 'ref', [(0:9)' * 60, [0 1 3 9 5 4 3 2 1.5 1]']);
  out = quiet('set', 'input', 'init', 'ref');
  f = expect(f, ~isempty(strfind(out, 'not implemented yet')), 'init: %s', out);
  f = expect(f, kinetra('get', 'input', 'a2') == 10, 'a2 changed by init');
end

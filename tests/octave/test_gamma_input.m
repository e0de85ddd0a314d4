% The gamma-variate input from the Octave prompt: the input stage of process
% recovers a sampled gamma curve, a one-tissue fit driven by it recovers its
% rates, and bad settings print their message and leave a usable workspace.
% test_gamma_input('name', ...) runs only the sections of these names.
function test_gamma_input(varargin)
  run_sections('test_gamma_input', {@recovers_curve_and_rates, @bad_settings}, true, varargin);
end

% Frames of 5 s to 5 min; the plasma curve 50 x^2 exp(-4 x), x = t / 60 s,
% sampled at the frame starts (the times a TAC without lengths is fitted at).
function [frames, t, blood] = gamma_curve()
  lengths = [repmat(5, 1, 12), repmat(15, 1, 8), repmat(60, 1, 8), repmat(300, 1, 8)];
  starts = [0, cumsum(lengths(1:end-1))];
  frames = [starts(:), lengths(:)];
  t = starts(:);
  blood = 50 * (t / 60) .^ 2 .* exp(-4 * t / 60);
end

% One term with tau and B fixed: A1 and C1 start from the measured peak.
function setup_input(blood_name)
  run_calls({
    {'select', 'input', 'GenericInputFunction'}
    {'set', 'input', 'size', 5}
    {'set', 'input', 'tau', 'value', 60}
    {'set', 'input', 'B1', 'value', 2}
    {'set', 'input', 'tau', 'state', 'const'}
    {'set', 'input', 't0', 'state', 'const'}
    {'set', 'input', 'B1', 'state', 'const'}
    {'set', 'input', 'init', blood_name}
    {'select', 'model', 'Generic_1TC'}
    {'set', 'model', 'input', 'GenericInputFunction'}
    {'select', 'protocol', 'Generic'}
    {'set', 'protocol', 'model', 'Generic_1TC'}
    {'set', 'protocol', 'optimizer', 'Levenberg-Marquardt'}
    {'set', 'voi', 'vin', true}});
end

function f = recovers_curve_and_rates()
  f = {};
  [frames, t, blood] = gamma_curve();
  quiet('set', 'tac', 'blood', [frames(:, 1), blood]);
  quiet('set', 'data', 'blood', 'unit', 'Bq/ml');
  setup_input('blood');
  % The peak identity: the start term peaks at the maximal sample (30 s, x = 0.5).
  [~, ~, a1] = kinetra('get', 'input', 'A1');
  [~, ~, c1] = kinetra('get', 'input', 'C1');
  f = expect(f, abs(c1 - 4) < 1e-12 && abs(a1 - max(blood) * (c1 / 2) ^ 2 * exp(2)) < 1e-9, ...
             'start values A1 %g C1 %g', a1, c1);
  quiet('set', 'input', 'A1', 'initvalue', 30);  % a start away from the truth
  out = quiet('process', 'blood', 'none', 'vin', 'none');
  f = expect(f, isempty(regexp(out, 'ERROR \w+\(', 'once')), 'input stage printed %s', out);
  A1 = kinetra('get', 'input', 'A1');
  C1 = kinetra('get', 'input', 'C1');
  % Levenberg-Marquardt stops on a relative change of chi-square of 1e-3.
  f = expect(f, abs(A1 - 50) < 1e-3 && abs(C1 - 4) < 1e-4, 'input stage found A1 %.10g C1 %.10g', A1, C1);

  % Two voxels of one-tissue curves on the true input, in Octave's own
  % quadrature: C_T = k1/60 int_0^t e^(-k2/60 (t-u)) C_p(u) du, alpha 1, beta 0,
  % at the frames' middles (the model times of data with frame lengths).
  k1 = [0.3; 0.6];
  k2 = [0.1; 2.0];
  cp = @(u) 50 * (u / 60) .^ 2 .* exp(-4 * u / 60);
  tissue = zeros(1, 1, 2, numel(t));
  for v = 1:2
    for i = 1:numel(t)
      tissue(1, 1, v, i) = k1(v) / 60 * quadgk(@(u) exp(-k2(v) / 60 * (t(i) - u)) .* cp(u), 0, t(i), ...
                                             'AbsTol', 1e-13, 'RelTol', 1e-12);
    end
  end
  run_calls({
    {'set', 'data', 'tissue', tissue, frames, 'Bq/ml'}
    {'select', 'model', 'Generic_1TC'}
    {'set', 'model', 'k1', 'initvalue', reshape(1.2 * k1, 1, 1, 2)}  % starts 20 % off, voxel by voxel
    {'set', 'model', 'k2', 'initvalue', reshape(0.8 * k2, 1, 1, 2)}
    {'set', 'model', 'alpha', 'value', 1}
    {'set', 'model', 'beta', 'value', 0}
    {'set', 'model', 'alpha', 'state', 'const'}
    {'set', 'model', 'beta', 'state', 'const'}
    {'select', 'optimizer', 'Levenberg-Marquardt'}
    {'set', 'optimizer', 'abs_chisquare', 1e-30}});  % the curves are small: fit to the end
  out = quiet('process', 'tissue', 'none', 'none', true(1, 1, 2));
  f = expect(f, isempty(regexp(out, 'ERROR \w+\(', 'once')), 'model stage printed %s', out);
  f = expect_maps(f, {'k1', 'k2'}, {reshape(k1, 1, 1, 2), reshape(k2, 1, 1, 2)}, 1e-3);
end

function f = bad_settings()
  f = {};
  [frames, t, blood] = gamma_curve();
  quiet('set', 'tac', 'blood', [frames(:, 1), blood]);
  quiet('set', 'tac', 'rising', [frames(:, 1), t]);
  quiet('select', 'input', 'GenericInputFunction');
  size_message = ['KINETRA: invalid size %d for GenericInputFunction, expected tau, t0 and A, B, C for each ' ...
                  'term (5, 8, 11, ... parameters)\n'];
  cases = {
    {{'set', 'input', 'size', 4}, sprintf(size_message, 4)}
    {{'set', 'input', 'size', 10}, sprintf(size_message, 10)}
    % The default input: eight parameters, every B 0, no pair form of them.
    {{'set', 'input', 'init', 'blood'}, ["WARNING: B1 should be constant, using its value anyway!\n" ...
                                         "WARNING: B2 should be constant, using its value anyway!\n" ...
                                         "ERROR inputs/GenericInputFunction(L): invalid number of parameters (8) " ...
                                         "for this parametrization \n"]}
    {{'set', 'input', 'init', 'rising'}, ["ERROR inputs/ParametricInputFunction(L):  tmax=35, invalid data for " ...
                                          "input function parameter initialization\n \n"]}};
  for i = 1:numel(cases)
    c = cases{i};
    out = regexprep(quiet(c{1}{:}), '\((\d+)\): ', '(L): ');
    f = expect(f, strcmp(out, c{2}), '%s printed "%s"', strjoin(cellfun(@num2str, c{1}, 'UniformOutput', false), ' '), out);
  end
  out = quiet('get', 'input', 'C2');
  f = expect(f, isempty(out), 'refused sizes changed the input: %s', out);
  % The workspace goes on: the same input fits as in a fresh one.
  setup_input('blood');
  quiet('process', 'blood', 'none', 'vin', 'none');
  A1 = kinetra('get', 'input', 'A1');
  f = expect(f, abs(A1 - 50) < 1e-3, 'after the refusals A1 %.10g', A1);
end

% The hypoxia models from the Octave prompt: FMISO_2TC and FMISO_3TC curves
% through 'create tac' against the compartment equations solved by Octave's
% expm, their derivatives through 'get model <par> der' against central
% differences, and degenerate rates that leave a finite curve and the right
% one once good values return.
% test_hypoxia_models('name', ...) runs only the sections of these names.
function test_hypoxia_models(varargin)
  sections = {@curves_and_derivatives, @degenerate_values};
  run_sections('test_hypoxia_models', sections, true, varargin);
end

function [t, c] = plasma()
  t = [0 10 20 40 60 120 300 600 1200]';
  c = 50 * (t / 60) .^ 2 .* exp(-4 * t / 60) + 1 * (t > 0);
end

function setup(model, p)
  [t, c] = plasma();
  run_calls({{'set', 'tac', 'plasma', [t, c]}, {'set', 'data', 'plasma', 'unit', 'kBq/ml'}, ...
             {'select', 'input', 'LinearInterpolation'}, {'set', 'input', 'init', 'plasma'}, ...
             {'select', 'model', model}, {'set', 'model', 'input', 'LinearInterpolation'}});
  set_values(p);
end

function set_values(p)
  for i = 1:rows(p), kinetra('set', 'model', p{i, 1}, 'value', p{i, 2}); end
end

% Compartments of dC/dt = M C + [k1 Cp; 0; 0], exactly over each linear
% piece of Cp (rates in 1/s), at the sample times.
function C = compartments(M, k1)
  [t, c] = plasma();
  A = zeros(5);
  A(1:3, 1:3) = M; A(1, 4) = k1; A(4, 5) = 1;
  C = zeros(numel(t), 3);
  z = zeros(5, 1);
  for j = 1:numel(t) - 1
    z(4) = c(j); z(5) = (c(j + 1) - c(j)) / (t(j + 1) - t(j));
    z = expm(A * (t(j + 1) - t(j))) * z;
    C(j + 1, :) = z(1:3)';
  end
end

function f = curves_and_derivatives()
  f = {};
  [t, c] = plasma();
  % FMISO_2TC: kappa = k2 + e alpha k3; FMISO_3TC adds C3 and k4.
  p2 = {'k1', 0.3; 'k2', 0.2; 'k3', 0.05; 'alpha', 0.6; 'beta', 0.1; 'eta', 0.3; 'V', 0.9};
  p3 = {'k1', 0.3; 'k2', 0.02; 'k3', 0.05; 'k4', 0.06; 'alpha', 0.4; 'beta', 0.1; 'eta', 0.2; 'V', 0.9};
  for model = {'FMISO_2TC', 'FMISO_3TC'}
    three = strcmp(model{1}, 'FMISO_3TC');
    p = p2; if three, p = p3; end
    v = cell2struct(p(:, 2), p(:, 1), 1);
    if ~three, v.k4 = 0; end
    setup(model{1}, p);
    e = 1 - v.eta;
    kappa = v.k2 + e * v.k3 * (three + ~three * v.alpha);
    M = [-kappa, 0, 0; v.alpha * v.k3, 0, 0; three * e * (1 - v.alpha) * v.k3, 0, -v.k4] / 60;
    C = compartments(M, v.k1 / 60);
    y = v.V * (v.beta * c + (1 - v.beta) * (C(:, 1) + e * C(:, 2) + C(:, 3)));
    tac = kinetra('create', 'tac', 'plasma');
    f = expect(f, max(abs(tac(:, 2) - y)) < 1e-6 * max(y), '%s curve off by %g', model{1}, max(abs(tac(:, 2) - y)));
    f = expect(f, max(abs(tac(:, 4) - C(:, 2))) < 1e-6 * max(y), '%s C2 off', model{1});
    % every row but eta's against a central difference at 60 s and 600 s
    for i = 1:rows(p)
      name = p{i, 1};
      if strcmp(name, 'eta'), continue; end
      d = kinetra('get', 'model', name, 'der', [60 600]);
      h = 1e-5 * max(abs(p{i, 2}), 0.1);
      q = p; q{i, 2} = p{i, 2} + h; set_values(q); up = kinetra('create', 'tac', 'plasma');
      q{i, 2} = p{i, 2} - h; set_values(q); down = kinetra('create', 'tac', 'plasma');
      set_values(p);
      num = (up([5 8], 2) - down([5 8], 2)) / (2 * h);
      f = expect(f, all(abs(d(:) - num) <= 1e-5 * abs(num) + 1e-9), '%s der %s: %g %g vs %g %g', ...
                 model{1}, name, d, num);
    end
  end
end

function f = degenerate_values()
  f = {};
  p = {'k1', 0.3; 'k2', 0.2; 'k3', 0.05; 'alpha', 0.6; 'beta', 0.1; 'eta', 0.3; 'V', 0.9};
  setup('FMISO_2TC', p);
  good = kinetra('create', 'tac', 'plasma');
  set_values({'k2', 0; 'eta', 1});  % kappa = 0: the running integral
  tac = kinetra('create', 'tac', 'plasma');
  d = kinetra('get', 'model', 'k2', 'der', [60 600]);
  f = expect(f, all(isfinite(tac(:))) && all(isfinite(d)), 'FMISO_2TC at kappa = 0 not finite');
  set_values(p);
  again = kinetra('create', 'tac', 'plasma');
  f = expect(f, isequal(again, good), 'FMISO_2TC curve changed after kappa = 0');

  c = {'F', 0.4; 'ka', 0.05; 'kb', 0.03; 'alpha', 0.5; 'beta1', 0.05; 'beta2', 0.8; 'eta', 0.3; 'V', 0.9};
  setup('Casciari', c);
  good = kinetra('create', 'tac', 'plasma');
  set_values({'eta', 0});  % m infinite: eta C4 tends to 0
  tac = kinetra('create', 'tac', 'plasma');
  f = expect(f, all(isfinite(tac(:))), 'Casciari at eta = 0 not finite');
  set_values({'eta', 0.3});
  again = kinetra('create', 'tac', 'plasma');
  f = expect(f, isequal(again, good), 'Casciari curve changed after eta = 0');
end

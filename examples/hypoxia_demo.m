% kinetra demo: an FMISO_2TC fit of a hypoxic tissue curve.
%
% The input is a LinearInterpolation through a sampled blood curve. Octave
% simulates the tissue from the compartment equations of the model,
%   dC1/dt = k1 Ca - kappa C1,  dC2/dt = alpha k3 C1,  kappa = k2 + (1 - eta) alpha k3,
%   y = V (beta Ca + (1 - beta) (C1 + (1 - eta) C2)),
% exactly over each linear piece of Ca, and kinetra fits k1, k2 and k3 back
% with alpha, beta, eta and V held (the eta row of the model is not its
% derivative: hold eta, or switch to numerical derivatives).
kinetra('reset');
lengths = [repmat(10, 1, 12), repmat(60, 1, 8), repmat(300, 1, 10)];
starts = [0, cumsum(lengths(1:end-1))]';
frames = [starts, lengths(:)];
t = starts;
blood = 60 * (t / 40) .* exp(1 - t / 40) + 4 * (t > 20);

truth = [0.30 0.20 0.05];            % k1 k2 k3, 1/min
alpha = 0.6; beta = 0.05; eta = 0.3; V = 1.0;
k = truth / 60;
kappa = k(2) + (1 - eta) * alpha * k(3);
A = [-kappa, 0, k(1), 0
     alpha * k(3), 0, 0, 0
     0, 0, 0, 1
     0, 0, 0, 0];
z = zeros(4, 1);
C = zeros(numel(t), 2);
for j = 1:numel(t) - 1
  z(3) = blood(j);
  z(4) = (blood(j + 1) - blood(j)) / (t(j + 1) - t(j));
  z = expm(A * (t(j + 1) - t(j))) * z;
  C(j + 1, :) = z(1:2)';
end
tissue = V * (beta * blood + (1 - beta) * (C(:, 1) + (1 - eta) * C(:, 2)));

kinetra('set', 'tac', 'blood', [t, blood]);
kinetra('set', 'data', 'blood', 'unit', 'kBq/ml');
kinetra('select', 'input', 'LinearInterpolation');
kinetra('set', 'input', 'init', 'blood');

kinetra('select', 'model', 'FMISO_2TC');
kinetra('set', 'model', 'input', 'LinearInterpolation');
names = {'k1', 'k2', 'k3'};
for i = 1:3
  kinetra('set', 'model', names{i}, 'initvalue', 1.2 * truth(i));
  kinetra('set', 'model', names{i}, 'min', 0);
  kinetra('set', 'model', names{i}, 'max', 2);
end
held = {'alpha', alpha; 'beta', beta; 'eta', eta; 'V', V};
for i = 1:rows(held)
  kinetra('set', 'model', held{i, 1}, 'value', held{i, 2});
  kinetra('set', 'model', held{i, 1}, 'state', 'const');
end

kinetra('select', 'protocol', 'Generic');
kinetra('set', 'protocol', 'model', 'FMISO_2TC');
kinetra('set', 'protocol', 'optimizer', 'Levenberg-Marquardt');
kinetra('set', 'data', 'tissue', reshape(tissue, 1, 1, 1, []), frames, 'kBq/ml');
kinetra('set', 'voi', 'tumour', true);
kinetra('process', 'tissue', 'none', 'none', 'tumour');

printf('       true     fitted\n');
for i = 1:3
  printf('%-4s %8.4f  %8.4f\n', names{i}, truth(i), kinetra('get', 'model', names{i}));
end

% kinetra demo: a two-tissue analysis, all four rates fitted in every voxel.
%
% Octave simulates the study with its own arithmetic: the plasma curve and
% frames of one_tissue_data, and per voxel the free (C1) and bound (C2)
% compartments,
%   dC1/dt = k1 Cp - (k2 + k3) C1 + k4 C2,   dC2/dt = k3 C1 - k4 C2,
% solved exactly over each linear piece of Cp by the matrix exponential of
% the system with Cp and its slope appended. kinetra fits Generic_2TC,
%   C(t) = alpha (C1 + C2) + beta Cp,
% and the fitted rates are printed beside the true ones.
kinetra('reset');
[frames, plasma] = one_tissue_data(1, 1, 1);
t = frames(:, 1);
alpha = 1.0;
beta = 0.05;
% Rates in 1/min, one row per voxel of a 2 x 2 x 1 grid (x fastest).
truth = [0.40 0.20 0.08 0.030
         0.60 0.35 0.12 0.050
         0.25 0.10 0.05 0.015
         0.80 0.45 0.20 0.080];
tissue = zeros(1, 2, 2, numel(t));
for v = 1:rows(truth)
  k = truth(v, :) / 60;                      % 1/s
  A = [-(k(2) + k(3)), k(4), k(1), 0
       k(3), -k(4), 0, 0
       0, 0, 0, 1
       0, 0, 0, 0];
  tt = [0; t]; yy = [0; plasma];
  if t(1) == 0, tt = t; yy = plasma; end
  z = [0; 0; yy(1); 0];
  c = zeros(numel(tt), 1);
  for j = 1:numel(tt) - 1
    z(3) = yy(j);
    z(4) = (yy(j + 1) - yy(j)) / (tt(j + 1) - tt(j));
    z = expm(A * (tt(j + 1) - tt(j))) * z;
    c(j + 1) = z(1) + z(2);
  end
  c = c(end - numel(t) + 1:end);
  x = mod(v - 1, 2) + 1; y = floor((v - 1) / 2) + 1;
  tissue(1, y, x, :) = reshape(alpha * c + beta * plasma, 1, 1, 1, []);
end

kinetra('set', 'tac', 'plasma', [t, plasma]);
kinetra('set', 'data', 'plasma', 'unit', 'kBq/ml');
kinetra('select', 'input', 'LinearInterpolation');
kinetra('set', 'input', 'init', 'plasma');

kinetra('select', 'model', 'Generic_2TC');
kinetra('set', 'model', 'input', 'LinearInterpolation');
start = [0.3 0.2 0.1 0.04];
names = {'k1', 'k2', 'k3', 'k4'};
for i = 1:4
  kinetra('set', 'model', names{i}, 'initvalue', start(i));
  kinetra('set', 'model', names{i}, 'min', 0);
  kinetra('set', 'model', names{i}, 'max', 3);
end
kinetra('set', 'model', 'alpha', 'value', alpha);
kinetra('set', 'model', 'beta', 'value', beta);
kinetra('set', 'model', 'alpha', 'state', 'const');
kinetra('set', 'model', 'beta', 'state', 'const');

kinetra('select', 'protocol', 'Generic');
kinetra('set', 'protocol', 'model', 'Generic_2TC');
kinetra('set', 'protocol', 'optimizer', 'Levenberg-Marquardt');
kinetra('select', 'optimizer', 'Levenberg-Marquardt');
kinetra('set', 'data', 'tissue', tissue, frames, 'kBq/ml');
kinetra('process', 'tissue', 'none', 'none', true(1, 2, 2));

printf('voxel   k1 true/fit      k2 true/fit      k3 true/fit      k4 true/fit\n');
fitted = zeros(size(truth));
for i = 1:4
  map = kinetra('get', 'model', names{i});
  for v = 1:rows(truth)
    fitted(v, i) = map(1, floor((v - 1) / 2) + 1, mod(v - 1, 2) + 1);
  end
end
for v = 1:rows(truth)
  printf('%3d  ', v);
  printf(' %6.4f/%6.4f  ', [truth(v, :); fitted(v, :)]);
  printf('\n');
end
printf('largest relative error: %.2g\n', max(abs(fitted(:) ./ truth(:) - 1)));

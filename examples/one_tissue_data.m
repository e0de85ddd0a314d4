function [frames, plasma, tissue, k1, k2, alpha, beta] = one_tissue_data(nx, ny, nz, noise, seed)
  % Simulates a dynamic PET study with Octave's own arithmetic, independently of kinetra:
  % a plasma curve sampled at the frame starts and a one-tissue tissue curve per voxel,
  %   C_T(t) = alpha * k1 * int_0^t C_p(s) exp(-k2 (t - s)) ds + beta * C_p(t),
  % with k1, k2 in 1/min and times in seconds. C_p is the piecewise linear curve through
  % the samples (a line from the origin before the first one), so the convolution is
  % exact interval by interval. Returns the tissue array as Z x Y x X x T.
  if nargin < 4, noise = 0; end
  if nargin < 5, seed = 1; end
  lengths = [repmat(10, 1, 6), repmat(30, 1, 8), repmat(60, 1, 6), repmat(300, 1, 5)];
  starts = [0, cumsum(lengths(1:end-1))];
  frames = [starts(:), lengths(:)];
  t = starts(:);
  % A bolus with a slow tail, in kBq/ml.
  plasma = 80 * (t / 60) .* exp(-t / 40) + 4 * (1 - exp(-t / 90)) .* exp(-t / 3000);

  alpha = 1.0;
  beta = 0.05;
  [X, Y, Z] = ndgrid(0:nx-1, 0:ny-1, 0:nz-1);
  k1 = 0.15 + 0.5 * (X + nx * (Y + ny * Z)) / max(1, nx * ny * nz - 1);   % 1/min
  k2 = 0.06 + 0.3 * mod(7 * (X + 3 * Y + 5 * Z), 11) / 10;                % 1/min

  tissue = zeros(nz, ny, nx, numel(t));
  for x = 1:nx
    for y = 1:ny
      for z = 1:nz
        c = alpha * k1(x, y, z) / 60 * conv_exp(t, plasma, k2(x, y, z) / 60) + beta * plasma;
        tissue(z, y, x, :) = reshape(c, 1, 1, 1, []);
      end
    end
  end
  if noise > 0
    randn('seed', seed);
    tissue = tissue .* (1 + noise * randn(size(tissue)));
  end
  % Maps in kinetra's order: Z x Y x X.
  k1 = permute(k1, [3 2 1]);
  k2 = permute(k2, [3 2 1]);
end

function c = conv_exp(t, y, k)
  % int_0^t(i) C(s) exp(-k (t(i) - s)) ds for the piecewise linear C through (t, y),
  % starting with the line from (0, 0) to the first sample.
  tt = [0; t(:)];
  yy = [0; y(:)];
  if t(1) == 0, tt = t(:); yy = y(:); end
  c = zeros(size(t));
  for i = 1:numel(t)
    s = 0;
    for j = 1:numel(tt) - 1
      a = tt(j); b = tt(j + 1);
      if b > t(i), break; end
      m = (yy(j + 1) - yy(j)) / (b - a);
      % int_a^b (y_a + m (s - a)) exp(-k (t - s)) ds, in closed form
      ea = exp(-k * (t(i) - a)); eb = exp(-k * (t(i) - b));
      s += (yy(j + 1) * eb - yy(j) * ea) / k - m * (eb - ea) / k^2;
    end
    c(i) = s;
  end
end

% A whole one-tissue analysis from the Octave prompt, checked against data that
% Octave computed itself.
function test_scenario()
  addpath(fullfile(fileparts(mfilename('fullpath')), '..', '..', 'examples'));
  clear kinetra;
  quiet('reset');
  nx = 4; ny = 4; nz = 2;
  [frames, plasma, tissue, k1, k2, alpha, beta] = one_tissue_data(nx, ny, nz);
  T = size(frames, 1);
  ok = true;

  out = run_calls([one_tissue_calls(frames, plasma, 'kBq/ml', [0.3 0.1], [alpha beta], [3 3], 'Levenberg-Marquardt'); {
    {'set', 'data', 'tissue', tissue, frames, 'kBq/ml'}}]);
  if ~isempty(strfind(out, 'unknown or invalid command')) || ~isempty(strfind(out, 'ERROR'))
    printf('the set-up printed:\n%s', out);
    ok = false;
  end

  out = evalc('kinetra(''process'', ''tissue'', ''none'', ''none'', true(nz, ny, nx));');
  ok &= ~isempty(strfind(out, "PROTOCOL 'Generic' DATA 'tissue' ERROR 'none'\n  VOI_IN 'none' VOI_OUT '_output_voi_'\n"));

  fk1 = kinetra('get', 'model', 'k1');
  fk2 = kinetra('get', 'model', 'k2');
  ok &= isequal(size(fk1), [nz, ny, nx]) && isequal(size(fk2), [nz, ny, nx]);
  err1 = max(abs(fk1(:) - k1(:)) ./ k1(:));
  err2 = max(abs(fk2(:) - k2(:)) ./ k2(:));
  printf('noiseless fit: max relative error k1 %.2g, k2 %.2g\n', err1, err2);
  ok &= err1 < 1e-4 && err2 < 1e-4;

  for topic = {'chisquare', 'numiter', 'exit', 'aic', 'aicc', 'bic', 'fpe', 'hannan-quinn'}
    m = kinetra('get', topic{1});
    if ~isequal(size(m), [nz, ny, nx])
      printf('get %s has size %s\n', topic{1}, mat2str(size(m)));
      ok = false;
    end
  end
  tac = kinetra('get', 'tac', 'tissue', 'none', [1 2 1]);
  ok &= isequal(size(tac), [T, 5]);
  ok &= max(abs(tac(:, 3) - squeeze(tissue(2, 3, 2, :)))) < 1e-9 * max(abs(tissue(:)));

  for topic = {'protocol', 'model', 'parameter'}
    ok &= ~isempty(quiet('show', topic{1}));
  end

  % The same with 2% noise and an error dataset: every voxel converges and the true
  % values lie within a few reported errors.
  [~, ~, noisy] = one_tissue_data(nx, ny, nz, 0.02, 7);
  sigma = 0.02 * max(abs(tissue), 0.01 * max(abs(tissue(:))));
  run_calls({{'set', 'data', 'noisy', noisy, frames, 'kBq/ml'}, {'set', 'data', 'sigma', sigma, frames, 'kBq/ml'}, ...
             {'process', 'noisy', 'sigma', 'none', true(nz, ny, nx)}});
  [fk1, ek1] = kinetra('get', 'model', 'k1');
  [fk2, ek2] = kinetra('get', 'model', 'k2');
  flags = kinetra('get', 'exit');
  z1 = abs(fk1(:) - k1(:)) ./ ek1(:);
  z2 = abs(fk2(:) - k2(:)) ./ ek2(:);
  printf('noisy fit: max |error|/sigma k1 %.2f, k2 %.2f; exit flags %s\n', max(z1), max(z2), mat2str(unique(flags(:))'));
  ok &= all(isfinite(fk1(:))) && all(ek1(:) > 0) && max(z1) < 5 && max(z2) < 5;

  if ~ok
    error('test_scenario failed');
  end
  printf('test_scenario passed\n');
end

% kinetra global-optimizer demo: the same one-tissue fit by Levenberg-Marquardt
% and by MultiDimGlobal, from a start far from the truth.
%
% MultiDimGlobal searches the whole box of the parameters' bounds (which it
% needs) for max_time seconds of wall time per voxel. Its default of 5 s makes
% a 128x128x40 image take about 38 days; this demo gives it 0.2 s per voxel.
% Run from the repository top: addpath('build'); addpath('examples'); global_demo
kinetra('reset');
[frames, plasma, tissue, k1, k2, alpha, beta] = one_tissue_data(2, 2, 1, 0.01, 5);
calls = {
  {'set', 'tac', 'plasma', [frames(:, 1), plasma]}
  {'set', 'data', 'plasma', 'unit', 'kBq/ml'}
  {'select', 'input', 'LinearInterpolation'}
  {'set', 'input', 'init', 'plasma'}
  {'select', 'model', 'Generic_1TC'}
  {'set', 'model', 'input', 'LinearInterpolation'}
  {'set', 'model', 'k1', 'initvalue', 1.8}       % far from the truth (0.15 to 0.65)
  {'set', 'model', 'k2', 'initvalue', 2.8}
  {'set', 'model', 'k1', 'min', 0}
  {'set', 'model', 'k1', 'max', 2}
  {'set', 'model', 'k2', 'min', 0}
  {'set', 'model', 'k2', 'max', 3}
  {'set', 'model', 'alpha', 'value', alpha}
  {'set', 'model', 'beta', 'value', beta}
  {'set', 'model', 'alpha', 'state', 'const'}
  {'set', 'model', 'beta', 'state', 'const'}
  {'select', 'protocol', 'Generic'}
  {'set', 'protocol', 'model', 'Generic_1TC'}
  {'set', 'data', 'tissue', tissue, frames, 'kBq/ml'}
  {'select', 'optimizer', 'MultiDimGlobal'}
  {'set', 'optimizer', 'max_time', 0.2}          % seconds per voxel; the default is 5
  {'set', 'verbosity', 0}
};
for i = 1:numel(calls)
  kinetra(calls{i}{:});
end

for optimizer = {'Levenberg-Marquardt', 'MultiDimGlobal'}
  kinetra('set', 'protocol', 'optimizer', optimizer{1});
  kinetra('select', 'optimizer', optimizer{1});   % the statistics read the selected optimizer
  tic;
  kinetra('process', 'tissue', 'none', 'none', true(1, 2, 2));
  seconds = toc;
  fk1 = kinetra('get', 'model', 'k1');
  fk2 = kinetra('get', 'model', 'k2');
  chi = kinetra('get', 'chisquare');
  printf('\n%s: %.2f s for 4 voxels\n', optimizer{1}, seconds);
  printf('  k1 true %s\n  k1 fit  %s\n', mat2str(k1(:)', 4), mat2str(fk1(:)', 4));
  printf('  k2 true %s\n  k2 fit  %s\n', mat2str(k2(:)', 4), mat2str(fk2(:)', 4));
  printf('  chi^2/dof %s\n', mat2str(chi(:)', 3));
end
kinetra('set', 'verbosity', 1);

% kinetra demo: a whole one-tissue analysis from the Octave prompt.
%
% Octave simulates a plasma curve and a 4x4x2-voxel dynamic study with a
% different k1 and k2 in every voxel; kinetra fits the one-tissue model to
% every voxel and the fitted maps are printed beside the true values.
kinetra('reset');
[frames, plasma, tissue, k1, k2, alpha, beta] = one_tissue_data(4, 4, 2, 0.01, 3);

% The plasma curve becomes the measured input function.
kinetra('set', 'tac', 'plasma', [frames(:, 1), plasma]);
kinetra('set', 'data', 'plasma', 'unit', 'kBq/ml');
kinetra('select', 'input', 'LinearInterpolation');
kinetra('set', 'input', 'init', 'plasma');

% The model: k1 and k2 free with start values and bounds; alpha and beta held constant.
kinetra('select', 'model', 'Generic_1TC');
kinetra('set', 'model', 'input', 'LinearInterpolation');
kinetra('set', 'model', 'k1', 'initvalue', 0.3);
kinetra('set', 'model', 'k2', 'initvalue', 0.1);
kinetra('set', 'model', 'k1', 'min', 0);  kinetra('set', 'model', 'k1', 'max', 3);
kinetra('set', 'model', 'k2', 'min', 0);  kinetra('set', 'model', 'k2', 'max', 3);
kinetra('set', 'model', 'alpha', 'value', alpha);
kinetra('set', 'model', 'beta', 'value', beta);
kinetra('set', 'model', 'alpha', 'state', 'const');
kinetra('set', 'model', 'beta', 'state', 'const');

% The protocol ties model and optimizer; the tissue data arrive with their frame times.
kinetra('select', 'protocol', 'Generic');
kinetra('set', 'protocol', 'model', 'Generic_1TC');
kinetra('set', 'protocol', 'optimizer', 'Levenberg-Marquardt');
kinetra('select', 'optimizer', 'Levenberg-Marquardt');
kinetra('set', 'data', 'tissue', tissue, frames, 'kBq/ml');
kinetra('show', 'protocol');

% Fit every voxel: no input stage ('none'), all voxels in the model stage.
kinetra('process', 'tissue', 'none', 'none', true(2, 4, 4));

[fk1, ek1] = kinetra('get', 'model', 'k1');
[fk2, ek2] = kinetra('get', 'model', 'k2');
chi = kinetra('get', 'chisquare');
printf('\n  voxel (x,y,z)   k1 true   k1 fitted (error)     k2 true   k2 fitted (error)    chi^2/dof\n');
for z = 1:2
  for y = 1:4
    for x = 1:4
      printf('  (%d,%d,%d)        %7.4f   %7.4f (%7.4f)    %7.4f   %7.4f (%7.4f)   %8.3g\n', x - 1, y - 1, z - 1, ...
             k1(z, y, x), fk1(z, y, x), ek1(z, y, x), k2(z, y, x), fk2(z, y, x), ek2(z, y, x), chi(z, y, x));
    end
  end
end
printf('\n  median relative error: k1 %.2g, k2 %.2g (1%% noise)\n', ...
       median(abs(fk1(:) - k1(:)) ./ k1(:)), median(abs(fk2(:) - k2(:)) ./ k2(:)));

% The fitted k1 map as an Analyze image (k1_map.hdr/.img), read back from the files.
file = fullfile(tempdir(), 'k1_map');
kinetra('write', 'data', file, fk1);
back = kinetra('read', 'data', file);
printf('\n  k1 map written to %s.hdr/.img and read back: %s, largest difference %g\n', file, ...
       mat2str(size(back)), max(abs(back(:) - fk1(:))));

% Pictures: the true and fitted k1 maps of slice z = 0, and the curves of voxel (1,2,0).
% The folder is picture_dir when the caller set it, else the current folder.
if ! exist ('picture_dir', 'var'), picture_dir = pwd (); end
voxel = [1 2 0];
tac = kinetra('get', 'tac', 'tissue', 'none', voxel);
pictures = kinetra_pictures(picture_dir, k1, fk1, tac, voxel, 1);
printf('\n  pictures: %s, %s\n', pictures{:});

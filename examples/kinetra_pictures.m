function files = kinetra_pictures (outdir, k1, fk1, tac, voxel, slice)
  % Writes two PNG pictures of a one-tissue fit into outdir and returns their paths:
  %   k1_map.png      the true and the fitted k1 map of one slice side by side,
  %                   on one colour scale with a colorbar in 1/min;
  %   voxel_curve.png one voxel's measured curve, the fitted model curve and the
  %                   input function against time in minutes.
  % k1 and fk1 are Z x Y x X maps; tac is what kinetra('get', 'tac', ...) returns
  % for the voxel (columns time in s, model, data, error, input); voxel is its
  % [x y z] (zero-based) and slice the z index (one-based) of the maps.
  % Uses Octave's gnuplot toolkit, which draws without a display.
  warning ('off', 'Octave:gnuplot-graphics');
  graphics_toolkit ('gnuplot');
  if ! exist (outdir, 'dir'), mkdir (outdir); end

  % Maps: rows y, columns x of slice z, both on the scale of the true map.
  t = squeeze (k1(slice, :, :));
  f = squeeze (fk1(slice, :, :));
  lim = [min(t(:)), max(t(:))];
  fig = figure ('visible', 'off', 'position', [0 0 900 400]);
  subplot (1, 2, 1);
  imagesc (0:columns (t) - 1, 0:rows (t) - 1, t, lim); axis image; colorbar;
  xlabel ('x (voxel)'); ylabel ('y (voxel)');
  title (sprintf ('true k1 (1/min), slice z = %d', slice - 1));
  subplot (1, 2, 2);
  imagesc (0:columns (f) - 1, 0:rows (f) - 1, f, lim); axis image; colorbar;
  xlabel ('x (voxel)'); ylabel ('y (voxel)');
  title (sprintf ('fitted k1 (1/min), slice z = %d', slice - 1));
  colormap (hot (64));
  files{1} = fullfile (outdir, 'k1_map.png');
  print (fig, files{1}, '-dpng', '-r90');
  close (fig);

  % Curves of one voxel, time in minutes.
  minutes = tac(:, 1) / 60;
  fig = figure ('visible', 'off', 'position', [0 0 800 450]);
  plot (minutes, tac(:, 3), 'o', 'markersize', 5, minutes, tac(:, 2), '-', 'linewidth', 2, ...
        minutes, tac(:, 5), '--', 'linewidth', 1);
  xlabel ('time (min)'); ylabel ('activity (kBq/ml)');
  title (sprintf ('voxel (x,y,z) = (%d,%d,%d): one-tissue fit', voxel));
  legend ('measured tissue curve', 'fitted model', 'input (plasma)', 'location', 'northeast');
  grid on;
  files{2} = fullfile (outdir, 'voxel_curve.png');
  print (fig, files{2}, '-dpng', '-r90');
  close (fig);
end

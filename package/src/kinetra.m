## -*- texinfo -*-
## @deftypefn  {} {} kinetra
## @deftypefnx {} {} kinetra (@var{cmd}, @dots{})
## @deftypefnx {} {[@var{a}, @dots{}] =} kinetra (@var{cmd}, @dots{})
## Pharmacokinetic modelling of dynamic images, chiefly PET.
##
## @code{kinetra} keeps a workspace of named datasets (2D, 3D and 4D images
## and time-activity curves), volumes of interest (VOIs), input functions,
## compartment models, protocols, tracers, units, error models and
## optimizers between calls.  The first argument @var{cmd} is a command
## word; the command's arguments follow it.  A protocol ties a model with
## its input function to an optimizer; @code{process} fits the free
## parameters voxel by voxel and leaves parameter maps, their errors and
## goodness-of-fit statistics in the workspace, and @code{get} returns them
## as arrays.
##
## Commands:
##
## @table @code
## @item cluster
## cluster data (k-means over the time curves)
## @item create
## simulate data, curves and error data from the selected model; create a
## protocol
## @item delete
## delete a dataset, input function, protocol or VOI
## @item exit
## @itemx quit
## stop a kinetra script (text route only)
## @item filter
## filter data: time and volume filters, VOI statistics, decay, scaling
## @item get
## get parameter maps, errors, fit statistics and curves as arrays
## @item help
## the list of commands; @code{kinetra ('help', @var{cmd})} the detailed
## help of one command
## @item process
## perform the analysis defined by the current protocol
## @item read
## @itemx write
## Analyze images (with their @file{.time} file of frame times), VOIs and
## text curves
## @item reset
## back to the state after loading
## @item select
## @itemx set
## @itemx show
## select an item of a list, set its values, show the lists
## @item status
## memory and CPU time of the Octave process
## @end table
##
## Arrays: an array of size @var{s1}-by-@var{s2}-by-@var{s3}-by-@var{s4}
## is a dataset with Z = @var{s1}, Y = @var{s2}, X = @var{s3} and
## T = @var{s4} frames.  Time arrays are T-by-2 matrices of frame starts
## and lengths in seconds.  No command raises an Octave error: each prints
## what it did or what went wrong, and returns logical false where it has
## no data to return.
##
## Example, a one-tissue fit of a simulated study:
##
## @example
## @group
## [frames, plasma, tissue, k1true] = one_tissue_data (4, 4, 2, 0.01);
## kinetra ('set', 'tac', 'plasma', [frames(:, 1), plasma]);
## kinetra ('set', 'data', 'plasma', 'unit', 'kBq/ml');
## kinetra ('select', 'input', 'LinearInterpolation');
## kinetra ('set', 'input', 'init', 'plasma');
## kinetra ('select', 'model', 'Generic_1TC');
## kinetra ('set', 'model', 'input', 'LinearInterpolation');
## kinetra ('set', 'model', 'k1', 'initvalue', 0.3);     # 1/min
## kinetra ('set', 'model', 'k2', 'initvalue', 0.1);
## kinetra ('set', 'model', 'alpha', 'value', 1);
## kinetra ('set', 'model', 'alpha', 'state', 'const');
## kinetra ('set', 'model', 'beta', 'value', 0.05);
## kinetra ('set', 'model', 'beta', 'state', 'const');
## kinetra ('select', 'protocol', 'Generic');
## kinetra ('set', 'protocol', 'model', 'Generic_1TC');
## kinetra ('set', 'protocol', 'optimizer', 'Levenberg-Marquardt');
## kinetra ('select', 'optimizer', 'Levenberg-Marquardt');
## kinetra ('set', 'data', 'tissue', tissue, frames, 'kBq/ml');
## kinetra ('process', 'tissue', 'none', 'none', true (2, 4, 4));
## k1 = kinetra ('get', 'model', 'k1');
## @end group
## @end example
##
## @code{demo kinetra} runs the whole analysis with pictures
## (@code{kinetra_demo}); @code{two_tissue_demo}, @code{filter_cluster_demo}
## and @code{global_demo} show more models, filters, clustering and the
## global optimizer.
## @end deftypefn

## This file carries the help only: the command itself is kinetra.mex, which
## Octave prefers to a .m file of the same name in the same folder.
function varargout = kinetra (varargin)
  error ("kinetra: the compiled module kinetra.mex was not found; reinstall the package");
endfunction

%!demo
%! kinetra_demo
